#include <windows.h>

#include <filesystem>

#include "base/program_folder.h"

namespace facefeature_tools {

std::string programFolder() {
  char program[MAX_PATH];
  const DWORD length = GetModuleFileNameA(nullptr, program, MAX_PATH);
  if (length == 0 || length == MAX_PATH) return "";
  return std::filesystem::path(program).parent_path().string();
}

}  // namespace facefeature_tools

#include "base/program_folder.h"

#include <filesystem>
#include <system_error>

namespace facefeature_tools {

std::string programFolder() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? "" : program.parent_path().string();
}

}  // namespace facefeature_tools

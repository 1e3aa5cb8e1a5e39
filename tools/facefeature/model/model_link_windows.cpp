// The Windows implementation. Linking a folder needs rights there that users seldom have, so the
// private folder holds a hard link to each file, or a copy if the two are on different drives.
#include <stdlib.h>
#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "base/failure.h"
#include "model/model_files.h"
#include "model/model_link.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

// The data that runs at the end of the process may use: plain characters, empty without a folder.
char folderPath[MAX_PATH];

void setTemporaryFolder(const std::string& folder) { _putenv(("TMP=" + folder).c_str()); }

// With a trailing backslash, as the library gets it.
std::string temporaryFolder() {
  char buffer[256] = "";
  GetTempPathA(sizeof buffer, buffer);
  return buffer;
}

void removeFolder() {
  if (folderPath[0] == '\0') return;
  const fs::path folder = folderPath;
  folderPath[0] = '\0';
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

// Runs on another thread: the process is about to end by Ctrl-C, Ctrl-Break, the window or the
// session.
BOOL WINAPI removeFolderAndEnd(DWORD) {
  removeFolder();
  return FALSE;
}

Failure noPrivateFolder(const std::string& folder, const std::string& why) {
  return Failure(kFailed, folder, "can't be made: " + why,
                 "Set TMP to a folder that is writable and has a short path");
}

void linkOrCopy(const fs::path& from, const fs::path& to) {
  std::error_code error;
  if (!fs::exists(from, error)) return;
  fs::create_hard_link(from, to, error);
  if (!error) return;
  error.clear();
  fs::copy_file(from, to, error);
  if (error) throw noPrivateFolder(to.string(), error.message());
}

void makeFolder(const fs::path& model) {
  const std::string folder =
      temporaryFolder() + "facefeature-" + std::to_string(GetCurrentProcessId());
  std::error_code error;
  // A killed process with the same id left a folder of this name.
  fs::remove_all(folder, error);
  const fs::path named = fs::path(folder) / kModelFolderName;
  error.clear();
  fs::create_directories(named, error);
  if (error || folder.size() >= sizeof folderPath) throw noPrivateFolder(folder, error.message());
  snprintf(folderPath, sizeof folderPath, "%s", folder.c_str());
  for (const ModelFile& file : modelFiles()) linkOrCopy(model / file.name, named / file.name);
}

}  // namespace

std::string libraryModelFolder() { return temporaryFolder() + kModelFolderName; }

ModelLink::ModelLink(const std::string& modelFolder) {
  const fs::path folder = canonicalModelFolder(modelFolder);
  if (folder.filename() == kModelFolderName) {
    setTemporaryFolder(folder.parent_path().string());
    return;
  }
  // The library ends the process with exit() if a net can't be built.
  static const bool atExit = std::atexit(removeFolder) == 0;
  static_cast<void>(atExit);
  SetConsoleCtrlHandler(removeFolderAndEnd, TRUE);
  try {
    makeFolder(folder);
  } catch (const Failure&) {
    removeFolder();
    throw;
  }
  setTemporaryFolder(folderPath);
}

ModelLink::~ModelLink() {
  SetConsoleCtrlHandler(removeFolderAndEnd, FALSE);
  removeFolder();
}

}  // namespace facefeature_tools

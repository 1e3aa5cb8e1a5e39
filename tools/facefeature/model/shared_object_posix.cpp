#include "model/shared_object_posix.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>
#include <vector>

#include "base/failure.h"
#include "base/program_folder.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

constexpr char kRebuild[] = "Build or install it again";

// An installed library may lack the second name, which is for linking.
std::vector<std::string> fileNames(const std::string& name) {
  return {name + ".so.1", name + ".so"};
}

std::string loaderMessage() {
  const char* message = dlerror();
  return message != nullptr ? message : "unknown error";
}

// Files in the program's folder. The first one that exists is used, without a fallback: a program
// that silently loaded another library than its own would produce features of another version.
std::string ownFile(const std::string& name) {
  std::error_code error;
  const fs::path folder = programFolder();
  if (folder.empty()) return "";
  for (const fs::path& candidate : {folder, folder / ".." / "lib"}) {
    for (const std::string& file : fileNames(name)) {
      if (fs::exists(candidate / file, error)) return (candidate / file).string();
    }
  }
  return "";
}

}  // namespace

SharedObject::SharedObject(const std::string& name) : path_(ownFile(name)), module_(nullptr) {
  if (!path_.empty()) {
    module_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module_ != nullptr) return;
    throw Failure(kFailed, path_, "can't be loaded: " + loaderMessage(), kRebuild);
  }
  path_ = name + ".so.1";
  std::string message;
  for (const std::string& file : fileNames(name)) {
    module_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module_ != nullptr) return;
    if (message.empty()) message = loaderMessage();
  }
  throw Failure(kFailed, path_, "can't be loaded: " + message,
                "Put " + path_ + " beside the program, into ../lib, or onto LD_LIBRARY_PATH");
}

void* SharedObject::addressOf(const char* functionName) const {
  void* address = dlsym(module_, functionName);
  if (address != nullptr) return address;
  throw Failure(kFailed, path_, "lacks a function: " + loaderMessage(), kRebuild);
}

}  // namespace facefeature_tools

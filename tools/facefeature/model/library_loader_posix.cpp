// The ELF implementation: dlopen and the four names. library_loader_windows.cpp is the other one.
#include "model/library_loader.h"

#include <dlfcn.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "base/failure.h"
#include "base/program_folder.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

// An installed library may lack the second name, which is for linking.
constexpr const char* kFileNames[] = {"libfacefeature.so.1", "libfacefeature.so"};
constexpr char kRemedy[] =
    "Put libfacefeature.so.1 beside the program, into ../lib, or onto LD_LIBRARY_PATH";

std::string loaderMessage() {
  const char* message = dlerror();
  return message != nullptr ? message : "unknown error";
}

// Files in the program's folder. The first one that exists is used, without a fallback: a program
// that silently loaded another library than its own would produce features of another version.
std::string ownLibrary() {
  std::error_code error;
  const fs::path folder = programFolder();
  if (folder.empty()) return "";
  for (const fs::path& place : {folder, folder / ".." / "lib"}) {
    for (const char* name : kFileNames) {
      if (fs::exists(place / name, error)) return (place / name).string();
    }
  }
  return "";
}

void* openLibrary() {
  const std::string own = ownLibrary();
  if (!own.empty()) {
    void* module = dlopen(own.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module != nullptr) return module;
    throw Failure(kFailed, own, "can't be loaded: " + loaderMessage(), "Build or install it anew");
  }
  std::string message;
  for (const char* name : kFileNames) {
    void* module = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (module != nullptr) return module;
    if (message.empty()) message = loaderMessage();
  }
  throw Failure(kFailed, kFileNames[0], "can't be loaded: " + message, kRemedy);
}

template <typename Function>
void bind(void* module, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(module, name));
  if (function != nullptr) return;
  throw Failure(kFailed, kFileNames[0], "lacks a function: " + loaderMessage(),
                "Build or install it anew");
}

}  // namespace

LoadedLibrary::LoadedLibrary() {
  void* module = openLibrary();
  bind(module, "CreateFeatureEngine", createFeatureEngine);
  bind(module, "ExtractFeature", extractFeature);
  bind(module, "CompareFeatures", compareFeatures);
  bind(module, "DestroyFeatureEngine", destroyFeatureEngine);
}

}  // namespace facefeature_tools

// The Windows implementation: LoadLibrary and the four ordinals.
#include <windows.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "base/failure.h"
#include "base/program_folder.h"
#include "model/library_loader.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

constexpr char kFileName[] = "facefeature.dll";

std::string loaderMessage() {
  return std::error_code(static_cast<int>(GetLastError()), std::system_category()).message();
}

// Only in the program's folder: the system would also search the current folder, which anyone may
// control.
std::string ownLibrary() {
  const std::string folder = programFolder();
  if (folder.empty()) {
    throw Failure(kFailed, kFileName, "can't be searched for: " + loaderMessage(),
                  "Put the program into a folder with a shorter path");
  }
  return (fs::path(folder) / kFileName).string();
}

HMODULE openLibrary() {
  const std::string own = ownLibrary();
  const HMODULE module = LoadLibraryA(own.c_str());
  if (module != nullptr) return module;
  throw Failure(kFailed, own, "can't be loaded: " + loaderMessage(),
                "Put facefeature.dll beside the program");
}

template <typename Function>
void bind(HMODULE module, int ordinal, Function& function) {
  const FARPROC address =
      GetProcAddress(module, reinterpret_cast<const char*>(static_cast<intptr_t>(ordinal)));
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
  if (function != nullptr) return;
  throw Failure(kFailed, kFileName, "lacks a function: " + loaderMessage(),
                "Build or install it again");
}

}  // namespace

LoadedLibrary::LoadedLibrary() {
  const HMODULE module = openLibrary();
  bind(module, kOrdinalCreateFeatureEngine, createFeatureEngine);
  bind(module, kOrdinalExtractFeature, extractFeature);
  bind(module, kOrdinalCompareFeatures, compareFeatures);
  bind(module, kOrdinalDestroyFeatureEngine, destroyFeatureEngine);
}

}  // namespace facefeature_tools

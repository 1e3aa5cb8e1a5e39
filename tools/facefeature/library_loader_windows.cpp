// The form for Windows: LoadLibrary and the four ordinals.
#include <windows.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "failure.h"
#include "library_loader.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

constexpr char kFileName[] = "facefeature.dll";
constexpr char kRemedy[] = "Put facefeature.dll beside the program or onto PATH";

std::string loaderMessage() {
  return std::error_code(static_cast<int>(GetLastError()), std::system_category()).message();
}

// The file beside the program, if there is one: a program that quietly took another library than
// its own would give features of another version.
std::string ownLibrary() {
  char program[MAX_PATH];
  const DWORD length = GetModuleFileNameA(nullptr, program, MAX_PATH);
  if (length == 0 || length == MAX_PATH) return "";
  const fs::path library = fs::path(program).parent_path() / kFileName;
  std::error_code error;
  return fs::exists(library, error) ? library.string() : "";
}

HMODULE openLibrary() {
  const std::string own = ownLibrary();
  const HMODULE module = LoadLibraryA(own.empty() ? kFileName : own.c_str());
  if (module != nullptr) return module;
  throw Failure(kFailed, own.empty() ? kFileName : own, "can't be loaded: " + loaderMessage(),
                own.empty() ? kRemedy : "Build or install it anew");
}

template <typename Function>
void bind(HMODULE module, int ordinal, Function& function) {
  const FARPROC address =
      GetProcAddress(module, reinterpret_cast<const char*>(static_cast<intptr_t>(ordinal)));
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
  if (function != nullptr) return;
  throw Failure(kFailed, kFileName, "lacks a function: " + loaderMessage(),
                "Build or install it anew");
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

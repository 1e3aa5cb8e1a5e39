#include <windows.h>

#include <stdexcept>

#include "host/probe_library.h"

namespace facefeature_test {
namespace {

template <typename Function>
void bind(void* handle, int ordinal, Function& function) {
  const FARPROC address = GetProcAddress(static_cast<HMODULE>(handle),
                                         reinterpret_cast<const char*>(intptr_t{ordinal}));
  if (address == nullptr) throw std::runtime_error("no ordinal " + std::to_string(ordinal));
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

}  // namespace

void ProbeLibrary::load() {
  handle_ = LoadLibraryA(path_.c_str());
  if (handle_ == nullptr) {
    throw std::runtime_error("can't load: error " + std::to_string(GetLastError()));
  }
  bind(handle_, kOrdinalCreateFeatureEngine, create);
  bind(handle_, kOrdinalExtractFeature, extract);
  bind(handle_, kOrdinalCompareFeatures, compare);
  bind(handle_, kOrdinalDestroyFeatureEngine, destroy);
}

void ProbeLibrary::unload() {
  if (handle_ == nullptr || FreeLibrary(static_cast<HMODULE>(handle_)) == 0) {
    throw std::runtime_error("can't unload");
  }
  handle_ = nullptr;
  create = nullptr;
  extract = nullptr;
  compare = nullptr;
  destroy = nullptr;
}

bool ProbeLibrary::mapped() const { return GetModuleHandleA(path_.c_str()) != nullptr; }

}  // namespace facefeature_test

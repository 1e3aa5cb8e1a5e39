#include "host/probe_library.h"

#include <dlfcn.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace facefeature_test {
namespace {

template <typename Function>
void bind(void* handle, const char* name, Function& function) {
  void* const symbol = dlsym(handle, name);
  if (symbol == nullptr) throw std::runtime_error(dlerror());
  function = reinterpret_cast<Function>(symbol);
}

}  // namespace

void ProbeLibrary::load() {
  handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
  bind(handle_, "CreateFeatureEngine", create);
  bind(handle_, "ExtractFeature", extract);
  bind(handle_, "CompareFeatures", compare);
  bind(handle_, "DestroyFeatureEngine", destroy);
}

void ProbeLibrary::unload() {
  if (handle_ == nullptr || dlclose(handle_) != 0) throw std::runtime_error("can't unload");
  handle_ = nullptr;
  create = nullptr;
  extract = nullptr;
  compare = nullptr;
  destroy = nullptr;
}

bool ProbeLibrary::mapped() const {
  // The list of mappings has the file's real name, not that of a link to it.
  const std::string file = std::filesystem::canonical(path_).string();
  std::ifstream mappings("/proc/self/maps");
  for (std::string line; std::getline(mappings, line);) {
    if (line.find(file) != std::string::npos) return true;
  }
  return false;
}

}  // namespace facefeature_test

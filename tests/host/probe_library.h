// The shared library, bound the way a separately built host binds it: by file name and symbol name.
#ifndef FACEFEATURE_TESTS_HOST_PROBE_LIBRARY_H
#define FACEFEATURE_TESTS_HOST_PROBE_LIBRARY_H

#include <string>

#include "facefeature/facefeature.h"

namespace facefeature_test {

class ProbeLibrary {
 public:
  explicit ProbeLibrary(std::string path) : path_(path) {}

  // Throws std::runtime_error with the loader's message.
  void load();
  void unload();

  // Whether any part of the library's file is mapped into this process.
  bool mapped() const;

  // Valid between load and unload.
  decltype(&::CreateFeatureEngine) create = nullptr;
  decltype(&::ExtractFeature) extract = nullptr;
  decltype(&::CompareFeatures) compare = nullptr;
  decltype(&::DestroyFeatureEngine) destroy = nullptr;

 private:
  std::string path_;
  void* handle_ = nullptr;
};

}  // namespace facefeature_test

#endif

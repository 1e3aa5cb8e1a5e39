// The ELF implementation: the four names. library_loader_windows.cpp is the other one.
#include "model/library_loader.h"
#include "model/shared_object_posix.h"

namespace facefeature_tools {

LoadedLibrary::LoadedLibrary() {
  const SharedObject library("libfacefeature");
  library.bind("CreateFeatureEngine", createFeatureEngine);
  library.bind("ExtractFeature", extractFeature);
  library.bind("CompareFeatures", compareFeatures);
  library.bind("DestroyFeatureEngine", destroyFeatureEngine);
}

}  // namespace facefeature_tools

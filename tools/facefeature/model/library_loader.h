// The library, loaded at run time as any host that was never linked to it would load it.
#ifndef FACEFEATURE_TOOLS_MODEL_LIBRARY_LOADER_H
#define FACEFEATURE_TOOLS_MODEL_LIBRARY_LOADER_H

// Records and the types of the functions; none of the functions is called by its name.
#include <facefeature/facefeature.h>

namespace facefeature_tools {

// Stays loaded until the process ends, which is soon: unloading what has started threads and keeps
// a BLAS would gain nothing.
class LoadedLibrary {
 public:
  // Looks in the program's own folder, then in ../lib beside it, then where the system's loader
  // looks; on Windows in the program's own folder alone. The library reads the temporary folder
  // here. Throws Failure (kFailed).
  LoadedLibrary();

  decltype(&CreateFeatureEngine) createFeatureEngine = nullptr;
  decltype(&ExtractFeature) extractFeature = nullptr;
  decltype(&CompareFeatures) compareFeatures = nullptr;
  decltype(&DestroyFeatureEngine) destroyFeatureEngine = nullptr;
};

}  // namespace facefeature_tools

#endif

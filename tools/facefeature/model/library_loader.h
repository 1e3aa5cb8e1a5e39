// Loads the library at run time, as any host that was never linked to it would.
#ifndef FACEFEATURE_TOOLS_MODEL_LIBRARY_LOADER_H
#define FACEFEATURE_TOOLS_MODEL_LIBRARY_LOADER_H

// For the records and the types of the functions; no function is called by its name.
#include <facefeature/facefeature.h>

namespace facefeature_tools {

// Stays loaded until the process ends, which is soon: unloading a library that has started threads
// would gain nothing.
class LoadedLibrary {
 public:
  // Searches the program's own folder, then ../lib relative to it, then the system loader's paths;
  // on Windows only the program's own folder. Loading the library reads the temporary folder.
  // Throws Failure (kFailed).
  LoadedLibrary();

  decltype(&CreateFeatureEngine) createFeatureEngine = nullptr;
  decltype(&ExtractFeature) extractFeature = nullptr;
  decltype(&CompareFeatures) compareFeatures = nullptr;
  decltype(&DestroyFeatureEngine) destroyFeatureEngine = nullptr;
};

}  // namespace facefeature_tools

#endif

// The library with a model, ready to extract.
#ifndef FACEFEATURE_TOOLS_MODEL_MODEL_SESSION_H
#define FACEFEATURE_TOOLS_MODEL_MODEL_SESSION_H

#include <optional>
#include <string>

#include "model/library_loader.h"

namespace facefeature_tools {

// Throws Failure (kBadModel) that names the error of a model folder. To be called before the
// library, which does not report a short file and ends the process if weights are missing.
void requireModel(const std::string& folder);

// An engine of a library that outlives it.
class Engine {
 public:
  // model is the folder that the library reads, for the message. Throws Failure (kBadModel).
  Engine(const LoadedLibrary& library, const std::string& model);
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  FeatureEngine* get() const { return engine_; }

 private:
  const LoadedLibrary& library_;
  FeatureEngine* engine_;
};

// The library and an engine with the model of a folder. One object at a time, as of ModelLink.
class ModelSession {
 public:
  // Throws Failure, as requireModel(), ModelLink and Engine do.
  explicit ModelSession(const std::string& folder);

  const std::string& folder() const { return folder_; }
  const LoadedLibrary& library() const { return *library_; }
  const Engine& engine() const { return *engine_; }

 private:
  std::string folder_;
  std::optional<LoadedLibrary> library_;
  std::optional<Engine> engine_;
};

}  // namespace facefeature_tools

#endif

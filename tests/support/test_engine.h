// Engines over the synthetic model, for tests that link the library's code.
#ifndef FACEFEATURE_TESTS_SUPPORT_TEST_ENGINE_H
#define FACEFEATURE_TESTS_SUPPORT_TEST_ENGINE_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "engine/feature_engine.h"
#include "support/faces.h"
#include "support/model_folder.h"
#include "support/pictures.h"
#include "support/reference_model.h"
#include "support/synthetic_folder.h"

namespace facefeature_test {

constexpr uint32_t kModelSeed = 303;

inline bool& modelIsWritten() {
  static bool written = false;
  return written;
}

// Ensures that the model folder holds the whole synthetic model. Written once per process; tests
// that corrupt a file use SpoiltFile.
inline void haveModel() {
  if (modelIsWritten()) return;
  clearModelFolder();
  writeSyntheticModel(modelFolder(), kModelSeed);
  modelIsWritten() = true;
}

// The oracle's copy of the model.
inline const reference::ModelNumbers& modelNumbers() {
  haveModel();
  static const reference::ModelNumbers numbers = reference::readModel(modelFolder());
  return numbers;
}

// Removes a model file, or replaces its bytes, for the lifetime of this object.
class SpoiltFile {
 public:
  explicit SpoiltFile(std::string name) : name_(std::move(name)) { removeModelFile(name_); }
  SpoiltFile(std::string name, const std::string& bytes) : name_(std::move(name)) {
    writeRawFile(name_, bytes);
  }
  ~SpoiltFile() {
    if (modelIsWritten()) {
      writeSyntheticFile(modelFolder(), modelFile(name_), kModelSeed);
    } else {
      removeModelFile(name_);
    }
  }
  SpoiltFile(const SpoiltFile&) = delete;
  SpoiltFile& operator=(const SpoiltFile&) = delete;

 private:
  std::string name_;
};

// The contents of a file of the synthetic model with another seed.
inline std::string bytesOfAnotherModel(const std::string& name) {
  const ModelFile& file = modelFile(name);
  std::string bytes;
  if (file.format == ModelFileFormat::kMatrix) appendNumber(bytes, file.rows);
  if (file.format != ModelFileFormat::kRaw) appendNumber(bytes, file.cols);
  appendFloats(bytes, syntheticNumbers(file, kModelSeed + 1));
  return bytes;
}

// An engine that is destroyed with its scope. get() is null if the creation failed.
class OwnEngine {
 public:
  OwnEngine() : engine_(facefeature::CreateFeatureEngine()) {}
  ~OwnEngine() { destroy(); }
  OwnEngine(const OwnEngine&) = delete;
  OwnEngine& operator=(const OwnEngine&) = delete;

  FeatureEngine* get() const { return engine_; }
  FeatureEngine* operator->() const { return engine_; }
  void destroy() {
    facefeature::DestroyFeatureEngine(engine_);
    engine_ = nullptr;
  }

 private:
  FeatureEngine* engine_;
};

// The contents of a feature that has not been written.
constexpr float kUnwritten = 12345.5f;

inline std::vector<float> extracted(
    FeatureEngine* engine, const Picture& picture, FaceRecord& face,
    facefeature::PatchPlan plan = facefeature::PatchPlan::kSharedFrames) {
  std::vector<float> feature(kFeatureFloats, kUnwritten);
  facefeature::ExtractFeature(engine, picture.pixels(), picture.width, picture.height,
                              picture.stride, face.set(), feature.data(), plan);
  return feature;
}

// A picture and a face in it.
struct Request {
  Picture picture;
  FaceRecord face;
};

inline Request randomRequest(Random& random, FaceKind kind = FaceKind::kNoisy) {
  const int32_t width = random.integer(80, 200);
  const int32_t height = random.integer(80, 200);
  return {randomPicture(random, width, height), faceOfKind(random, kind, width, height)};
}

inline std::vector<float> extracted(FeatureEngine* engine, Request& request) {
  return extracted(engine, request.picture, request.face);
}

}  // namespace facefeature_test

#endif

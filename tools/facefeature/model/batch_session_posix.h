// The batch library with a model, ready to extract several faces in one pass.
#ifndef FACEFEATURE_TOOLS_MODEL_BATCH_SESSION_POSIX_H
#define FACEFEATURE_TOOLS_MODEL_BATCH_SESSION_POSIX_H

#include <facefeature/batch.h>

#include <cstdint>
#include <string>
#include <vector>

namespace facefeature_tools {

class BatchSession {
 public:
  // Loads the library, as LoadedLibrary does, and the model from the folder that it reads. model
  // names that folder in messages. Throws Failure (kFailed, kBadModel) and std::bad_alloc.
  explicit BatchSession(const std::string& model);
  ~BatchSession();
  BatchSession(const BatchSession&) = delete;
  BatchSession& operator=(const BatchSession&) = delete;

  // Keeps a face as number index. The arguments are those of PutFaceInBatch, and so is the status,
  // except that kFaceBatchNoMemory is thrown as std::bad_alloc.
  int32_t put(int32_t index, const uint8_t* pixels, int32_t width, int32_t height, int32_t stride,
              const LandmarkSet* landmarks) const;

  // The status of ExtractFaceBatch for the faces 0 up to the size of features.
  int32_t extract(std::vector<FeatureVector>& features) const;

 private:
  decltype(&CreateFaceBatch) createFaceBatch_ = nullptr;
  decltype(&PutFaceInBatch) putFaceInBatch_ = nullptr;
  decltype(&ExtractFaceBatch) extractFaceBatch_ = nullptr;
  decltype(&DestroyFaceBatch) destroyFaceBatch_ = nullptr;
  FaceBatch* batch_ = nullptr;
};

}  // namespace facefeature_tools

#endif

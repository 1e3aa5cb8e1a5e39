#include "model/batch_session_posix.h"

#include <new>

#include "base/failure.h"
#include "model/shared_object_posix.h"

namespace facefeature_tools {

BatchSession::BatchSession(const std::string& model) {
  const SharedObject library("libfacefeature_batch");
  library.bind("CreateFaceBatch", createFaceBatch_);
  library.bind("PutFaceInBatch", putFaceInBatch_);
  library.bind("ExtractFaceBatch", extractFaceBatch_);
  library.bind("DestroyFaceBatch", destroyFaceBatch_);
  const int32_t status = createFaceBatch_(&batch_);
  if (status == kFaceBatchNoMemory) throw std::bad_alloc();
  if (status == kFaceBatchDone) return;
  throw Failure(kBadModel, model, "the library could not open the model",
                "Check it with \"facefeature model check\"");
}

BatchSession::~BatchSession() { destroyFaceBatch_(batch_); }

int32_t BatchSession::put(int32_t index, const uint8_t* pixels, int32_t width, int32_t height,
                          int32_t stride, const LandmarkSet* landmarks) const {
  const int32_t status = putFaceInBatch_(batch_, index, pixels, width, height, stride, landmarks);
  if (status == kFaceBatchNoMemory) throw std::bad_alloc();
  return status;
}

int32_t BatchSession::extract(std::vector<FeatureVector>& features) const {
  return extractFaceBatch_(batch_, static_cast<int32_t>(features.size()), features.data());
}

}  // namespace facefeature_tools

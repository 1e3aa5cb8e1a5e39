// The five functions of the batch library (batch_exports.map, batch_exports.def). They check their
// arguments and turn exceptions into statuses; engine/face_batch.h does the work.
#include <algorithm>
#include <limits>
#include <memory>
#include <new>

#include "engine/face_batch.h"
#include "engine/request.h"
#include "platform/exported.h"

namespace facefeature {
namespace {

// To be called in a handler: the status for the exception that it handles.
int32_t statusOfException() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return kFaceBatchNoMemory;
  } catch (...) {
    return kFaceBatchFailed;
  }
}

bool hasFaces(const FaceBatch& batch, int32_t count) {
  return std::all_of(batch.holdsFace, batch.holdsFace + count, [](bool holds) { return holds; });
}

void fillWithNaN(FeatureVector* features, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    std::fill_n(features[i].values, static_cast<int32_t>(kFeatureFloats),
                std::numeric_limits<float>::quiet_NaN());
  }
}

int32_t extractStatus(FaceBatch& batch, int32_t count, FeatureVector* features) {
  if (!isModelLoaded()) return kFaceBatchNoModel;
  try {
    extractFaces(batch, count, features);
    return kFaceBatchDone;
  } catch (...) {
    return statusOfException();
  }
}

}  // namespace
}  // namespace facefeature

FACEFEATURE_EXPORTED int32_t FaceBatchVersion() { return kFaceBatchVersion; }

FACEFEATURE_EXPORTED int32_t CreateFaceBatch(FaceBatch** batch) {
  if (batch == nullptr) return kFaceBatchBadArgument;
  *batch = nullptr;
  try {
    *batch = facefeature::newFaceBatch().release();
  } catch (...) {
    return facefeature::statusOfException();
  }
  return *batch == nullptr ? kFaceBatchNoModel : kFaceBatchDone;
}

FACEFEATURE_EXPORTED int32_t PutFaceInBatch(FaceBatch* batch, int32_t index, const uint8_t* pixels,
                                            int32_t width, int32_t height, int32_t stride,
                                            const LandmarkSet* landmarks) {
  if (batch == nullptr || index < 0 || index >= kFaceBatchFaces) return kFaceBatchBadArgument;
  batch->holdsFace[index] = false;
  if (!facefeature::isModelLoaded()) return kFaceBatchNoModel;
  if (!facefeature::isGoodRequest(pixels, width, height, landmarks)) return kFaceBatchBadFace;
  try {
    facefeature::samplePatches(*batch, index, pixels, width, height, stride, landmarks);
  } catch (...) {
    return facefeature::statusOfException();
  }
  batch->holdsFace[index] = true;
  return kFaceBatchDone;
}

FACEFEATURE_EXPORTED int32_t ExtractFaceBatch(FaceBatch* batch, int32_t count,
                                              FeatureVector* features) {
  if (batch == nullptr || features == nullptr || count < 1 || count > kFaceBatchFaces ||
      !facefeature::hasFaces(*batch, count)) {
    return kFaceBatchBadArgument;
  }
  std::fill_n(batch->holdsFace, static_cast<int32_t>(kFaceBatchFaces), false);
  const int32_t status = facefeature::extractStatus(*batch, count, features);
  if (status != kFaceBatchDone) facefeature::fillWithNaN(features, count);
  return status;
}

FACEFEATURE_EXPORTED void DestroyFaceBatch(FaceBatch* batch) { delete batch; }

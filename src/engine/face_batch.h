// Several faces in one pass over the model.
#ifndef FACEFEATURE_ENGINE_FACE_BATCH_H
#define FACEFEATURE_ENGINE_FACE_BATCH_H

#include <cstdint>
#include <memory>

#include "engine/feature_engine.h"
#include "facefeature/batch.h"
#include "geometry/patch_table.h"
#include "kernels/matrix.h"

// The record behind the handle of facefeature/batch.h.
struct FaceBatch {
  FaceBatch() = default;
  ~FaceBatch() { facefeature::DestroyFeatureEngine(engine); }
  FaceBatch(const FaceBatch&) = delete;
  FaceBatch& operator=(const FaceBatch&) = delete;

  FeatureEngine* engine = nullptr;  // owned
  // For each patch, the two rows of face 0, then those of face 1, and so on.
  std::unique_ptr<facefeature::Matrix> patches[facefeature::kPatchCount];
  bool holdsFace[kFaceBatchFaces] = {};
};

namespace facefeature {

using ::FaceBatch;

// A batch without faces, for an engine of its own. Null if CreateFeatureEngine gives null. Throws
// what CreateFeatureEngine throws.
std::unique_ptr<FaceBatch> newFaceBatch();

// Samples the patches of a face into its rows. Throws std::bad_alloc.
// REQUIRES: an index from 0 to 15, and isGoodRequest() (engine/request.h).
void samplePatches(FaceBatch& batch, int32_t index, const uint8_t* pixels, int32_t width,
                   int32_t height, int32_t stride, const LandmarkSet* landmarks);

// features[i] becomes that of face i, with the bits of ExtractFeature for any count. The nets and
// the projections read their trained numbers once for all faces. Threads as for ExtractFeature. An
// exception in a net, also std::bad_alloc, leaves the function; the batch stays usable.
// REQUIRES: faces 0 to count - 1 have been sampled, and the model is loaded.
void extractFaces(FaceBatch& batch, int32_t count, FeatureVector* features);

}  // namespace facefeature

#endif

// The record behind the handle, and the four operations that the exports forward to. The public
// header (facefeature/facefeature.h) is their contract.
#ifndef FACEFEATURE_ENGINE_FEATURE_ENGINE_H
#define FACEFEATURE_ENGINE_FEATURE_ENGINE_H

#include <cstddef>
#include <cstdint>

#include "facefeature/facefeature.h"
#include "geometry/face_warp.h"
#include "geometry/patch_plan.h"
#include "geometry/patch_table.h"

namespace facefeature {
class ConvNet;
}

// Allocated as one block and not cleared: the contents of the faces are undefined until the first
// extraction writes them.
struct FeatureEngine {
  uint8_t grayFace[facefeature::kGrayFaceBytes];         // scratch: the frame of a gray patch
  uint8_t colorFace[facefeature::kColorFaceBytes];       // scratch: the frame of a colour patch
  facefeature::ConvNet* nets[facefeature::kPatchCount];  // owned; element p is the net of patch p
};

static_assert(offsetof(FeatureEngine, colorFace) == 25600, "the fields are contiguous");
static_assert(offsetof(FeatureEngine, nets) == 102400, "the fields are contiguous");

namespace facefeature {

using ::FeatureEngine;
using ::FeatureVector;

FeatureEngine* CreateFeatureEngine();
void ExtractFeature(FeatureEngine* engine, const uint8_t* pixels, int32_t width, int32_t height,
                    int32_t stride, const LandmarkSet* landmarks, float* feature,
                    PatchPlan plan = PatchPlan::kSharedFrames);
float CompareFeatures(const FeatureVector* a, const FeatureVector* b);
void DestroyFeatureEngine(FeatureEngine* engine);

}  // namespace facefeature

#endif

#include "patch_access.h"

#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "geometry/face_warp.h"
#include "geometry/fill_patches.h"
#include "geometry/head_pose.h"
#include "geometry/patch_table.h"

namespace {

using facefeature::kPatchCount;
using facefeature::PatchMean;

bool idsAreValid(const LandmarkSet* landmarks) {
  for (int32_t i = 0; i < landmarks->count; ++i) {
    if (landmarks->entries[i].id < 0 || landmarks->entries[i].id > 317) return false;
  }
  return landmarks->count >= 0;
}

bool slotsAreFilled(const LandmarkSet* landmarks) {
  int32_t kept = 0;
  for (int32_t i = 0; i < landmarks->count; ++i) {
    if (!facefeature::isDroppedFromAlignment(landmarks->entries[i].id)) ++kept;
  }
  return kept == facefeature::kSlotCount;
}

void fill(const facefeature::Photograph& photo, const LandmarkSet* landmarks, float* patches) {
  std::vector<uint8_t> gray(facefeature::kGrayFaceBytes), color(facefeature::kColorFaceBytes);
  const std::unique_ptr<PatchMean[]> noMeans(new PatchMean[kPatchCount]());
  float* rows[kPatchCount];
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    rows[patch] = patches;
    patches += 2 * facefeature::sampleLength(patch);
  }
  facefeature::fillPatches(photo, landmarks, facefeature::PatchPlan::kSharedFrames, noMeans.get(),
                           {gray.data(), color.data()}, rows);
}

}  // namespace

int32_t FacefeaturePatchFloats(void) {
  int32_t floats = 0;
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    floats += 2 * facefeature::sampleLength(patch);
  }
  return floats;
}

int32_t FacefeaturePatches(const uint8_t* pixels, int32_t width, int32_t height, int32_t stride,
                           const LandmarkSet* landmarks, float* patches) {
  if (width < 2 || height < 2 || !idsAreValid(landmarks) || !slotsAreFilled(landmarks)) return 0;
  try {
    fill({pixels, width, height, stride, nullptr}, landmarks, patches);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return 1;
}

float FacefeatureReferenceLength(const LandmarkSet* landmarks) {
  if (!idsAreValid(landmarks)) return std::numeric_limits<float>::quiet_NaN();
  try {
    float angleZ, angleY, angleX;
    return facefeature::EstimateHeadPose(landmarks, &angleZ, &angleY, &angleX);
  } catch (const std::bad_alloc&) {
    return std::numeric_limits<float>::quiet_NaN();
  }
}

#include "geometry/patch_matrices.h"

#include <memory>

#include "geometry/face_similarity.h"
#include "geometry/face_warp.h"
#include "geometry/head_pose.h"
#include "geometry/patch_sampling.h"
#include "geometry/patch_table.h"

namespace facefeature {
namespace {

// The photograph in its two forms.
struct Photograph {
  const uint8_t* pixels;
  int32_t width;
  int32_t height;
  int32_t stride;
  const uint8_t* gray;
};

// Warps the frame of the patch into the engine's face of its kind and samples it twice.
void fillPatchMatrix(FeatureEngine* engine, const Photograph& photo, const FaceSimilarity& toImage,
                     const float* aligned, int32_t patch, Matrix& matrix) {
  const float* center = aligned + 2 * patchSpec.centerPoint[patch];
  const float* mirror = aligned + 2 * patchSpec.mirrorPoint[patch];
  float* direct = matrix.buffer;
  float* mirrored = matrix.buffer + matrix.cols;
  const FaceSimilarity& t = toImage;
  if (patchSpec.isColor[patch] == 1) {
    WarpColorFace(photo.pixels, photo.width, photo.height, photo.stride, engine->colorFace, t.a,
                  t.b, t.tx, t.ty);
    SampleColorPatch(engine->colorFace, center, patch, direct);
    SampleColorPatchMirrored(engine->colorFace, mirror, patch, mirrored);
  } else {
    WarpGrayFace(photo.gray, photo.width, photo.height, photo.width, engine->grayFace, t.a, t.b,
                 t.tx, t.ty);
    SampleGrayPatch(engine->grayFace, center, patch, direct);
    SampleGrayPatchMirrored(engine->grayFace, mirror, patch, mirrored);
  }
}

}  // namespace

std::vector<Matrix*>* BuildPatchMatrices(FeatureEngine* engine, const uint8_t* pixels,
                                         int32_t width, int32_t height, int32_t stride,
                                         const uint8_t* grayImage, const LandmarkSet* landmarks) {
  const Photograph photo = {pixels, width, height, stride, grayImage};
  // Freed here only if memory runs out on the way.
  std::unique_ptr<std::vector<Matrix*>, void (*)(std::vector<Matrix*>*)> matrices(
      new std::vector<Matrix*>, freePatchMatrices);
  matrices->reserve(kPatchCount);

  float angleZ, angleY, angleX;  // of use to nobody here
  const float referenceLength = EstimateHeadPose(landmarks, &angleZ, &angleY, &angleX);
  Landmark slots[kSlotCount];
  sortLandmarks(landmarks, slots);
  const FaceAnchors anchors = anchorsOf(slots);

  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    // Each patch asks for its own size of face, and so has a frame of its own.
    const float h = lowerAnchorHeight(patchSpec.referenceSpan[patch], anchors, referenceLength);
    float aligned[2 * kSlotCount];
    alignSlots(fitToCanonical(anchors, h), slots, aligned);
    Matrix* matrix = new Matrix(2, sampleLength(patch));
    matrices->push_back(matrix);
    fillPatchMatrix(engine, photo, fitToImage(anchors, h), aligned, patch, *matrix);
  }
  return matrices.release();
}

void freePatchMatrices(std::vector<Matrix*>* matrices) {
  for (Matrix* matrix : *matrices) delete matrix;
  delete matrices;
}

}  // namespace facefeature

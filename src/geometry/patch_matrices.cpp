#include "geometry/patch_matrices.h"

#include <memory>

#include "geometry/face_similarity.h"
#include "geometry/face_warp.h"
#include "geometry/head_pose.h"
#include "geometry/patch_frames.h"
#include "geometry/patch_sampling.h"
#include "geometry/patch_table.h"
#include "kernels/kernel_set.h"

namespace facefeature {
namespace {

// The photograph in its two forms; gray may be null, and is then made where it is read.
struct Photograph {
  const uint8_t* pixels;
  int32_t width;
  int32_t height;
  int32_t stride;
  const uint8_t* gray;
};

// One face: its slots, and what all frames of it are derived from.
struct Face {
  Landmark slots[kSlotCount];
  FaceAnchors anchors;
  float referenceLength;
};

// The frame that a patch hangs in: the way back to the photograph, and the slots in the frame.
struct Frame {
  FaceSimilarity toImage;
  float aligned[2 * kSlotCount];
};

Face faceOf(const LandmarkSet* landmarks) {
  Face face;
  float angleZ, angleY, angleX;  // of use to nobody here
  face.referenceLength = EstimateHeadPose(landmarks, &angleZ, &angleY, &angleX);
  sortLandmarks(landmarks, face.slots);
  face.anchors = anchorsOf(face.slots);
  return face;
}

// Each patch asks for its own size of face, and so has a frame of its own.
Frame frameOf(const Face& face, int32_t patch) {
  const float h =
      lowerAnchorHeight(patchSpec.referenceSpan[patch], face.anchors, face.referenceLength);
  Frame frame;
  alignSlots(fitToCanonical(face.anchors, h), face.slots, frame.aligned);
  frame.toImage = fitToImage(face.anchors, h);
  return frame;
}

const float* centerOf(const Frame& frame, int32_t patch) {
  return frame.aligned + 2 * patchSpec.centerPoint[patch];
}

const float* mirrorOf(const Frame& frame, int32_t patch) {
  return frame.aligned + 2 * patchSpec.mirrorPoint[patch];
}

// Warps a part of the patch's frame into the engine's face of its kind.
void warpPart(FeatureEngine* engine, const Photograph& photo, const FaceSimilarity& t,
              int32_t patch, const FrameRect& part) {
  if (patchSpec.isColor[patch] == 1) {
    WarpColorRect(photo.pixels, photo.width, photo.height, photo.stride, engine->colorFace, part,
                  t.a, t.b, t.tx, t.ty);
  } else if (photo.gray != nullptr) {
    WarpGrayRect(photo.gray, photo.width, photo.height, photo.width, engine->grayFace, part, t.a,
                 t.b, t.tx, t.ty);
  } else {
    WarpGrayRectFromColor(photo.pixels, photo.width, photo.height, photo.stride, engine->grayFace,
                          part, t.a, t.b, t.tx, t.ty);
  }
}

// Fills both rows of the patch's matrix from the engine's face.
void samplePatch(const FeatureEngine* engine, const Frame& frame, int32_t patch, Matrix& matrix) {
  float* direct = matrix.buffer;
  float* mirrored = matrix.buffer + matrix.cols;
  if (patchSpec.isColor[patch] == 1) {
    SampleColorPatch(engine->colorFace, centerOf(frame, patch), patch, direct);
    SampleColorPatchMirrored(engine->colorFace, mirrorOf(frame, patch), patch, mirrored);
  } else {
    SampleGrayPatch(engine->grayFace, centerOf(frame, patch), patch, direct);
    SampleGrayPatchMirrored(engine->grayFace, mirrorOf(frame, patch), patch, mirrored);
  }
}

// Patch by patch, each with the whole of its frame.
void fillOneByOne(FeatureEngine* engine, const Photograph& photo, const Face& face,
                  std::vector<Matrix*>& matrices) {
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    const Frame frame = frameOf(face, patch);
    warpPart(engine, photo, frame.toImage, patch, kWholeFrame);
    samplePatch(engine, frame, patch, *matrices[static_cast<size_t>(patch)]);
  }
}

// What the patches that share this patch's frame read of it. Of the last frame of either kind all
// of it is wanted: it stays in the engine's face.
std::vector<FrameRect> neededParts(const Frame& frame, int32_t patch) {
  std::vector<FrameRect> parts;
  if (isLastOfItsKind(patch)) return {kWholeFrame};
  for (int32_t other = 0; other <= patch; ++other) {
    if (!shareFrame(patch, other)) continue;
    addFramePart(parts, sampledRect(centerOf(frame, other), other, 1));
    addFramePart(parts, sampledRect(mirrorOf(frame, other), other, -1));
  }
  return parts;
}

// Frame by frame, in the order of their last patches, so that the faces end with the same frames.
void fillByFrames(FeatureEngine* engine, const Photograph& photo, const Face& face,
                  std::vector<Matrix*>& matrices) {
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    if (!isLastOfItsFrame(patch)) continue;
    const Frame frame = frameOf(face, patch);
    for (const FrameRect& part : neededParts(frame, patch)) {
      warpPart(engine, photo, frame.toImage, patch, part);
    }
    for (int32_t other = 0; other <= patch; ++other) {
      if (!shareFrame(patch, other)) continue;
      samplePatch(engine, frame, other, *matrices[static_cast<size_t>(other)]);
    }
  }
}

}  // namespace

std::vector<Matrix*>* BuildPatchMatrices(FeatureEngine* engine, const uint8_t* pixels,
                                         int32_t width, int32_t height, int32_t stride,
                                         const uint8_t* grayImage, const LandmarkSet* landmarks) {
  // Freed here only if memory runs out on the way.
  std::unique_ptr<std::vector<Matrix*>, void (*)(std::vector<Matrix*>*)> matrices(
      new std::vector<Matrix*>, freePatchMatrices);
  matrices->reserve(kPatchCount);
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    matrices->push_back(new Matrix(2, sampleLength(patch)));
  }
  const Photograph photo = {pixels, width, height, stride, grayImage};
  const Face face = faceOf(landmarks);
  if (activeKernels->sharesFrames) {
    fillByFrames(engine, photo, face, *matrices);
  } else {
    fillOneByOne(engine, photo, face, *matrices);
  }
  return matrices.release();
}

void freePatchMatrices(std::vector<Matrix*>* matrices) {
  for (Matrix* matrix : *matrices) delete matrix;
  delete matrices;
}

}  // namespace facefeature

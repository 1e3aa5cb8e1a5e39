#include "face_patches.h"

#include <set>

#include "geometry/face_similarity.h"
#include "geometry/face_warp.h"
#include "geometry/gray_image.h"
#include "geometry/head_pose.h"
#include "geometry/landmark_set.h"
#include "geometry/patch_sampling.h"
#include "geometry/patch_table.h"

namespace facefeature_tools {
namespace {

using facefeature::FaceSimilarity;
using facefeature::patchSpec;

static_assert(kFacePatches == facefeature::kPatchCount, "a table for each of the library's");

struct Anchored {
  Landmark slots[facefeature::kSlotCount];
  facefeature::FaceAnchors anchors;
  float referenceLength;
};

Anchored anchored(const std::vector<Landmark>& landmarks) {
  const LandmarkRecord record = makeRecord(landmarks);
  Anchored face;
  float unused[3];
  face.referenceLength =
      facefeature::EstimateHeadPose(record.get(), &unused[0], &unused[1], &unused[2]);
  facefeature::sortLandmarks(record.get(), face.slots);
  face.anchors = facefeature::anchorsOf(face.slots);
  return face;
}

float heightFor(const Anchored& face, int32_t span) {
  return facefeature::lowerAnchorHeight(span, face.anchors, face.referenceLength);
}

FacePatch emptyPatch(const Anchored& face, int32_t patch) {
  FacePatch result = {};
  result.side = patchSpec.patchSize[patch];
  result.planes = patchSpec.isColor[patch] == 1 ? 3 : 1;
  result.columnMargin = patchSpec.columnMargin[patch];
  result.rowMargin = result.columnMargin > 0 ? 0 : patchSpec.rowMargin[patch];
  result.span = patchSpec.referenceSpan[patch];
  result.directId = face.slots[patchSpec.centerPoint[patch]].id;
  result.mirrorId = face.slots[patchSpec.mirrorPoint[patch]].id;
  result.direct.resize(static_cast<size_t>(facefeature::sampleLength(patch)));
  result.mirrored.resize(result.direct.size());
  return result;
}

}  // namespace

std::vector<FacePatch> facePatches(const Photo& photo, const std::vector<Landmark>& landmarks) {
  const Anchored face = anchored(landmarks);
  std::vector<uint8_t> gray(photo.pixels.size() / 3);
  facefeature::ConvertToGray(photo.pixels.data(), photo.width, photo.height, photo.stride(),
                             gray.data());
  std::vector<uint8_t> frame(facefeature::kColorFaceBytes);
  std::vector<FacePatch> patches;
  for (int32_t patch = 0; patch < kFacePatches; ++patch) {
    FacePatch result = emptyPatch(face, patch);
    const float h = heightFor(face, result.span);
    float aligned[2 * facefeature::kSlotCount];
    facefeature::alignSlots(facefeature::fitToCanonical(face.anchors, h), face.slots, aligned);
    const FaceSimilarity t = facefeature::fitToImage(face.anchors, h);
    const float* center = aligned + 2 * patchSpec.centerPoint[patch];
    const float* mirror = aligned + 2 * patchSpec.mirrorPoint[patch];
    if (result.planes == 3) {
      facefeature::WarpColorFace(photo.pixels.data(), photo.width, photo.height, photo.stride(),
                                 frame.data(), t.a, t.b, t.tx, t.ty);
      facefeature::SampleColorPatch(frame.data(), center, patch, result.direct.data());
      facefeature::SampleColorPatchMirrored(frame.data(), mirror, patch, result.mirrored.data());
    } else {
      facefeature::WarpGrayFace(gray.data(), photo.width, photo.height, photo.width, frame.data(),
                                t.a, t.b, t.tx, t.ty);
      facefeature::SampleGrayPatch(frame.data(), center, patch, result.direct.data());
      facefeature::SampleGrayPatchMirrored(frame.data(), mirror, patch, result.mirrored.data());
    }
    patches.push_back(std::move(result));
  }
  return patches;
}

std::vector<FaceFrame> faceFrames(const std::vector<Landmark>& landmarks) {
  const Anchored face = anchored(landmarks);
  const std::set<int32_t> spans(patchSpec.referenceSpan,
                                patchSpec.referenceSpan + facefeature::kPatchCount);
  std::vector<FaceFrame> frames;
  for (const int32_t span : spans) {
    const FaceSimilarity t = facefeature::fitToImage(face.anchors, heightFor(face, span));
    // Corners of the outermost pixels, which reach half a pixel around their centres.
    const double low = -0.5;
    const double high = facefeature::kCanonicalSide - 0.5;
    const auto place = [&t](double x, double y) {
      return ImagePoint{t.a * x - t.b * y + t.tx, t.b * x + t.a * y + t.ty};
    };
    frames.push_back(
        {span, {place(low, low), place(high, low), place(high, high), place(low, high)}});
  }
  return frames;
}

}  // namespace facefeature_tools

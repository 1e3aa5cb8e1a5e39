#include "face/face_patches.h"

#include <memory>
#include <set>
#include <utility>

#include "geometry/face.h"
#include "geometry/face_similarity.h"
#include "geometry/face_warp.h"
#include "geometry/fill_patches.h"
#include "geometry/patch_means.h"
#include "geometry/patch_table.h"

namespace facefeature_tools {
namespace {

using facefeature::Face;
using facefeature::FaceSimilarity;
using facefeature::patchSpec;

static_assert(kFacePatches == facefeature::kPatchCount, "a table for each of the library's");

float heightFor(const Face& face, int32_t span) {
  return facefeature::lowerAnchorHeight(span, face.anchors, face.referenceLength);
}

FacePatch describedPatch(const Face& face, int32_t patch) {
  FacePatch result = {};
  result.side = patchSpec.patchSize[patch];
  result.planes = patchSpec.isColor[patch] == 1 ? 3 : 1;
  result.columnMargin = patchSpec.columnMargin[patch];
  result.rowMargin = result.columnMargin > 0 ? 0 : patchSpec.rowMargin[patch];
  result.span = patchSpec.referenceSpan[patch];
  result.directId = face.slots[patchSpec.centerPoint[patch]].id;
  result.mirrorId = face.slots[patchSpec.mirrorPoint[patch]].id;
  return result;
}

}  // namespace

// The input of the library's nets, but with means of 0, because this program loads no model.
std::vector<FacePatch> facePatches(const Photo& photo, const std::vector<Landmark>& landmarks) {
  const LandmarkRecord record = makeRecord(landmarks);
  const Face face = facefeature::faceOf(record.get());
  std::vector<float> rows[kFacePatches];
  float* patches[kFacePatches];
  for (int32_t patch = 0; patch < kFacePatches; ++patch) {
    rows[patch].resize(2 * static_cast<size_t>(facefeature::sampleLength(patch)));
    patches[patch] = rows[patch].data();
  }
  const auto means = std::make_unique<facefeature::PatchMean[]>(kFacePatches);
  std::vector<uint8_t> grayFace(facefeature::kGrayFaceBytes);
  std::vector<uint8_t> colorFace(facefeature::kColorFaceBytes);
  facefeature::fillPatches(
      {photo.pixels.data(), photo.width, photo.height, photo.stride(), nullptr}, record.get(),
      facefeature::PatchPlan::kSharedFrames, means.get(), {grayFace.data(), colorFace.data()},
      patches);
  std::vector<FacePatch> described;
  for (int32_t patch = 0; patch < kFacePatches; ++patch) {
    FacePatch result = describedPatch(face, patch);
    const auto middle = rows[patch].begin() + facefeature::sampleLength(patch);
    result.direct.assign(rows[patch].begin(), middle);
    result.mirrored.assign(middle, rows[patch].end());
    described.push_back(std::move(result));
  }
  return described;
}

std::vector<FaceFrame> faceFrames(const std::vector<Landmark>& landmarks) {
  const LandmarkRecord record = makeRecord(landmarks);
  const Face face = facefeature::faceOf(record.get());
  const std::set<int32_t> spans(patchSpec.referenceSpan,
                                patchSpec.referenceSpan + facefeature::kPatchCount);
  std::vector<FaceFrame> frames;
  for (const int32_t span : spans) {
    const FaceSimilarity t = facefeature::fitToImage(face.anchors, heightFor(face, span));
    // Corners of the outermost pixels, which extend half a pixel around their centres.
    const double low = -0.5;
    const double high = facefeature::kCanonicalSide - 0.5;
    const auto imagePoint = [&t](double x, double y) {
      return ImagePoint{t.a * x - t.b * y + t.tx, t.b * x + t.a * y + t.ty};
    };
    frames.push_back({span,
                      {imagePoint(low, low), imagePoint(high, low), imagePoint(high, high),
                       imagePoint(low, high)}});
  }
  return frames;
}

}  // namespace facefeature_tools

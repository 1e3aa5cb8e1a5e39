#include "face/face_patches.h"

#include <memory>
#include <set>
#include <utility>

#include "engine/feature_engine.h"
#include "geometry/face_similarity.h"
#include "geometry/head_pose.h"
#include "geometry/landmark_set.h"
#include "geometry/patch_matrices.h"
#include "geometry/patch_table.h"
#include "kernels/matrix.h"

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

FacePatch describedPatch(const Anchored& face, int32_t patch) {
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

// The matrices that the nets of the library are handed. No model is loaded into this program, so
// that the means that are taken off are 0.
std::vector<FacePatch> facePatches(const Photo& photo, const std::vector<Landmark>& landmarks) {
  const Anchored face = anchored(landmarks);
  const LandmarkRecord record = makeRecord(landmarks);
  const std::unique_ptr<FeatureEngine> engine(new FeatureEngine);
  const std::unique_ptr<std::vector<facefeature::Matrix*>,
                        void (*)(std::vector<facefeature::Matrix*>*)>
      matrices(facefeature::BuildPatchMatrices(engine.get(), photo.pixels.data(), photo.width,
                                               photo.height, photo.stride(), nullptr, record.get()),
               facefeature::freePatchMatrices);
  std::vector<FacePatch> patches;
  for (int32_t patch = 0; patch < kFacePatches; ++patch) {
    const facefeature::Matrix& matrix = *(*matrices)[static_cast<size_t>(patch)];
    FacePatch result = describedPatch(face, patch);
    result.direct.assign(matrix.buffer, matrix.buffer + matrix.cols);
    result.mirrored.assign(matrix.buffer + matrix.cols, matrix.buffer + 2 * matrix.cols);
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

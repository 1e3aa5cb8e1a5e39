#include "geometry/fill_patches.h"

#include <vector>

#include "geometry/face.h"
#include "geometry/face_warp.h"
#include "geometry/patch_frames.h"
#include "geometry/patch_sampling.h"

namespace facefeature {
namespace {

// The arguments of one call.
struct Job {
  const Photograph& photo;
  const Face& face;
  const PatchMean* means;
  const ScratchFaces& scratch;
  float* const* patches;
};

const float* centerOf(const PatchFrame& frame, int32_t patch) {
  return frame.aligned + 2 * patchSpec.centerPoint[patch];
}

const float* mirrorOf(const PatchFrame& frame, int32_t patch) {
  return frame.aligned + 2 * patchSpec.mirrorPoint[patch];
}

// Warps a part of the patch's frame into the scratch face of its kind.
void warpPart(const Job& job, const FaceSimilarity& t, int32_t patch, const FrameRect& part) {
  const Photograph& photo = job.photo;
  if (patchSpec.isColor[patch] == 1) {
    WarpColorRect(photo.pixels, photo.width, photo.height, photo.stride, job.scratch.color, part,
                  t.a, t.b, t.tx, t.ty);
  } else if (photo.gray != nullptr) {
    WarpGrayRect(photo.gray, photo.width, photo.height, photo.width, job.scratch.gray, part, t.a,
                 t.b, t.tx, t.ty);
  } else {
    WarpGrayRectFromColor(photo.pixels, photo.width, photo.height, photo.stride, job.scratch.gray,
                          part, t.a, t.b, t.tx, t.ty);
  }
}

// Fills both rows of the patch from the scratch face.
void samplePatch(const Job& job, const PatchFrame& frame, int32_t patch) {
  float* direct = job.patches[patch];
  float* mirrored = direct + sampleLength(patch);
  const float* mean = job.means[patch];
  if (patchSpec.isColor[patch] == 1) {
    SampleColorPatch(job.scratch.color, centerOf(frame, patch), patch, mean, direct);
    SampleColorPatchMirrored(job.scratch.color, mirrorOf(frame, patch), patch, mean, mirrored);
  } else {
    SampleGrayPatch(job.scratch.gray, centerOf(frame, patch), patch, mean, direct);
    SampleGrayPatchMirrored(job.scratch.gray, mirrorOf(frame, patch), patch, mean, mirrored);
  }
}

void fillPatchByPatch(const Job& job) {
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    const PatchFrame frame = frameOf(job.face, patch);
    warpPart(job, frame.toImage, patch, kWholeFrame);
    samplePatch(job, frame, patch);
  }
}

// The parts of the frame that the patches sharing it read. The last frame of either kind is needed
// whole, because it stays in the scratch face.
std::vector<FrameRect> neededParts(const PatchFrame& frame, int32_t patch) {
  std::vector<FrameRect> parts;
  if (isLastOfItsKind(patch)) return {kWholeFrame};
  for (int32_t other = 0; other <= patch; ++other) {
    if (!shareFrame(patch, other)) continue;
    addFramePart(parts, sampledRect(centerOf(frame, other), other, 1));
    addFramePart(parts, sampledRect(mirrorOf(frame, other), other, -1));
  }
  return parts;
}

// In the order of the last patches, so that the scratch faces end with the same frames.
void fillFrameByFrame(const Job& job) {
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    if (!isLastOfItsFrame(patch)) continue;
    const PatchFrame frame = frameOf(job.face, patch);
    for (const FrameRect& part : neededParts(frame, patch)) {
      warpPart(job, frame.toImage, patch, part);
    }
    for (int32_t other = 0; other <= patch; ++other) {
      if (shareFrame(patch, other)) samplePatch(job, frame, other);
    }
  }
}

}  // namespace

void fillPatches(const Photograph& photo, const LandmarkSet* landmarks, PatchPlan plan,
                 const PatchMean* means, const ScratchFaces& scratch,
                 float* const patches[kPatchCount]) {
  const Face face = faceOf(landmarks);
  const Job job = {photo, face, means, scratch, patches};
  if (plan == PatchPlan::kSharedFrames) {
    fillFrameByFrame(job);
  } else {
    fillPatchByPatch(job);
  }
}

}  // namespace facefeature

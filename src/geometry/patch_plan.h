// The order in which the frames of a face are warped.
#ifndef FACEFEATURE_GEOMETRY_PATCH_PLAN_H
#define FACEFEATURE_GEOMETRY_PATCH_PLAN_H

namespace facefeature {

// All plans produce identical bytes: the same patches, and the same frames in the scratch faces.
enum class PatchPlan {
  // Patch by patch, each from the whole of its frame. Defines the result.
  kPatchByPatch,
  // Frame by frame: patches with equal frames share one, and only the parts that samples read are
  // warped. The library uses this plan; only tests and benchmarks choose another.
  kSharedFrames,
};

constexpr PatchPlan kPatchPlans[] = {PatchPlan::kPatchByPatch, PatchPlan::kSharedFrames};

}  // namespace facefeature

#endif

// The parts of a frame that are needed.
#ifndef FACEFEATURE_GEOMETRY_PATCH_FRAMES_H
#define FACEFEATURE_GEOMETRY_PATCH_FRAMES_H

#include <cstdint>
#include <vector>

#include "geometry/face_warp.h"

namespace facefeature {

// Patches with the same colours and referenceSpan share a frame. True for the last patch of such a
// group; the group's frame is warped when its last patch is reached.
bool isLastOfItsFrame(int32_t patch);

// True for the last patch that uses the gray, or colour, scratch face. Its frame remains there.
bool isLastOfItsKind(int32_t patch);

// Whether two patches share a frame.
bool shareFrame(int32_t patch, int32_t other);

// Adds a part to the parts of a frame. Merges two parts when their bounding rectangle has no more
// pixels than the two have separately.
void addFramePart(std::vector<FrameRect>& parts, FrameRect part);

}  // namespace facefeature

#endif

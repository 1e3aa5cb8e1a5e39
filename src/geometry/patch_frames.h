// Which parts of a frame are needed at all.
#ifndef FACEFEATURE_GEOMETRY_PATCH_FRAMES_H
#define FACEFEATURE_GEOMETRY_PATCH_FRAMES_H

#include <cstdint>
#include <vector>

#include "geometry/face_warp.h"

namespace facefeature {

// Patches of the same colours and referenceSpan hang in the same frame. True for the last patch of
// such a group; a group is warped when its last patch has come.
bool isLastOfItsFrame(int32_t patch);

// True for the last patch that uses the engine's gray, or colour, face. Its frame stays there.
bool isLastOfItsKind(int32_t patch);

// Whether two patches hang in the same frame.
bool shareFrame(int32_t patch, int32_t other);

// Adds a part to the parts of a frame. Two parts that are dearer apart than together, by their
// pixels, become the rectangle around both.
void addFramePart(std::vector<FrameRect>& parts, FrameRect part);

}  // namespace facefeature

#endif

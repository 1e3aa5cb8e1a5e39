// The patches of a face and their frames, computed by the library's own operations.
#ifndef FACEFEATURE_TOOLS_FACE_FACE_PATCHES_H
#define FACEFEATURE_TOOLS_FACE_FACE_PATCHES_H

#include <array>
#include <cstdint>
#include <vector>

#include "face/landmark_file.h"
#include "face/landmark_scheme.h"
#include "photo/photo.h"

namespace facefeature_tools {

constexpr int32_t kFacePatches = 25;

// The part of a face that one net sees, without subtracting the patch's mean, which belongs to a
// model: numbers from 0 to 255, plane after plane (red, green, blue; or the one gray plane), row
// after row. Margins are 0, as for the net.
struct FacePatch {
  int32_t side;          // pixels
  int32_t planes;        // 3 or 1
  int32_t columnMargin;  // blank columns at the left and at the right
  int32_t rowMargin;     // blank rows at top and bottom
  int32_t span;          // distance of the model's eyes in pixels of the frame
  int32_t directId;      // the landmarks at the centres of the two samples
  int32_t mirrorId;
  std::vector<float> direct;
  std::vector<float> mirrored;
};

// The corners of a frame in the photograph: top left, top right, bottom right, bottom left.
struct FaceFrame {
  int32_t span;
  std::array<ImagePoint, 4> corners;
};

// All 25. REQUIRES: a photograph of at least 2 x 2 pixels and landmarks that the library accepts.
std::vector<FacePatch> facePatches(const Photo& photo, const std::vector<Landmark>& landmarks);

// The distinct frames, in ascending order of span: the larger the span, the closer the frame.
std::vector<FaceFrame> faceFrames(const std::vector<Landmark>& landmarks);

}  // namespace facefeature_tools

#endif

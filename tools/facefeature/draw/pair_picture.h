// Two faces side by side, as the nets see them: an optional part of the program, drawn with cairo.
#ifndef FACEFEATURE_TOOLS_DRAW_PAIR_PICTURE_H
#define FACEFEATURE_TOOLS_DRAW_PAIR_PICTURE_H

#include <cstdint>
#include <string>
#include <vector>

#include "face/landmark_file.h"
#include "photo/photo.h"

namespace facefeature_tools {

struct PictureFace {
  std::string path;  // of the photograph, for its caption and for messages
  Photo photo;
  std::vector<Landmark> landmarks;
};

// The bytes of a PNG file with the patches of both faces; for each net, the patches of the first
// face are above those of the second. Throws Failure (kFailed), also in a program without cairo.
// REQUIRES, for all functions here: photographs of at least 2 x 2 pixels, and landmarks that the
// library accepts.
std::vector<uint8_t> patchPairPicture(const PictureFace& first, const PictureFace& second);

// The same, below both photographs and a line of text. Throws Failure: kBadInput for a photograph
// that is too large to draw, kFailed.
std::vector<uint8_t> pairPicture(const PictureFace& first, const PictureFace& second,
                                 const std::string& text);

}  // namespace facefeature_tools

#endif

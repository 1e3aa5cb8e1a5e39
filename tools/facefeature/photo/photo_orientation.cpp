#include "photo/photo_orientation.h"

#include <algorithm>

namespace facefeature_tools {
namespace {

// How the upright picture is read from the stored one: rows and columns are exchanged first, then
// traversed backwards.
struct Turn {
  bool exchanged;
  bool backwardsX;  // over the columns of the stored picture
  bool backwardsY;  // over its rows
};

constexpr Turn kTurns[] = {
    {false, false, false},  // 1
    {false, true, false},   // 2
    {false, true, true},    // 3
    {false, false, true},   // 4
    {true, false, false},   // 5
    {true, false, true},    // 6
    {true, true, true},     // 7
    {true, true, false},    // 8
};

}  // namespace

Photo turnedPhoto(const Photo& photo, int32_t orientation) {
  const Turn turn = kTurns[orientation - 1];
  const int32_t width = turn.exchanged ? photo.height : photo.width;
  const int32_t height = turn.exchanged ? photo.width : photo.height;
  Photo turned = makePhoto(static_cast<uint64_t>(width), static_cast<uint64_t>(height));
  uint8_t* target = turned.pixels.data();
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const int32_t column = turn.exchanged ? y : x;
      const int32_t row = turn.exchanged ? x : y;
      const int64_t sourceX = turn.backwardsX ? photo.width - 1 - column : column;
      const int64_t sourceY = turn.backwardsY ? photo.height - 1 - row : row;
      target = std::copy_n(photo.pixels.data() + sourceY * photo.stride() + 3 * sourceX, 3, target);
    }
  }
  return turned;
}

}  // namespace facefeature_tools

// Combines and writes photographs for tests.
#ifndef FACEFEATURE_TESTS_TOOLS_PHOTO_PHOTO_FILES_H
#define FACEFEATURE_TESTS_TOOLS_PHOTO_PHOTO_FILES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "photo/photo.h"
#include "tools/photo/encoded_pictures.h"
#include "tools/run_program.h"

namespace facefeature_test {

inline void writePpm(const std::string& path, const facefeature_tools::Photo& photo) {
  const Bytes ppm = encodePpm(static_cast<uint32_t>(photo.width),
                              static_cast<uint32_t>(photo.height), swapped(photo.pixels));
  writeText(path, std::string(ppm.begin(), ppm.end()));
}

// Two photographs on one gray background.
inline facefeature_tools::Photo sideBySide(const facefeature_tools::Photo& left,
                                           const facefeature_tools::Photo& right) {
  facefeature_tools::Photo both =
      facefeature_tools::makePhoto(static_cast<uint64_t>(left.width + right.width),
                                   static_cast<uint64_t>(std::max(left.height, right.height)));
  std::fill(both.pixels.begin(), both.pixels.end(), uint8_t{128});
  const auto copy = [&both](const facefeature_tools::Photo& photo, int32_t x) {
    for (int32_t y = 0; y < photo.height; ++y) {
      std::copy_n(photo.pixels.begin() + static_cast<std::ptrdiff_t>(y) * photo.stride(),
                  photo.stride(),
                  both.pixels.begin() + static_cast<std::ptrdiff_t>(y) * both.stride() + 3 * x);
    }
  };
  copy(left, 0);
  copy(right, left.width);
  return both;
}

}  // namespace facefeature_test

#endif

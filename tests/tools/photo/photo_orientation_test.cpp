#include "photo/photo_orientation.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tools/photo/encoded_pictures.h"
#include "tools/photo/exif_pictures.h"

namespace facefeature_test {
namespace {

using facefeature_tools::exifIsRead;
using facefeature_tools::exifOrientation;
using facefeature_tools::makePhoto;
using facefeature_tools::Photo;
using facefeature_tools::turnedPhoto;

// Three columns and two rows of letters, as stored:
//     a b c
//     d e f
Photo letters() {
  Photo photo = makePhoto(3, 2);
  for (size_t i = 0; i < photo.pixels.size(); ++i) {
    photo.pixels[i] = static_cast<uint8_t>('a' + i / 3 + 32 * (i % 3));
  }
  return photo;
}

std::string rowsOf(const Photo& photo) {
  std::string rows;
  for (int32_t y = 0; y < photo.height; ++y) {
    rows += y == 0 ? "" : "/";
    for (int32_t x = 0; x < photo.width; ++x) {
      const size_t at = static_cast<size_t>(y * photo.stride() + 3 * x);
      rows += static_cast<char>(photo.pixels[at]);
      EXPECT_EQ(photo.pixels[at] + 32, photo.pixels[at + 1]);
      EXPECT_EQ(photo.pixels[at] + 64, photo.pixels[at + 2]);
    }
  }
  return rows;
}

// The orientation names the sides of the scene that the stored first row and first column show. In
// a picture with orientation 6, the first row is the right side of the scene and the first column
// is its top.
TEST(PhotoOrientation, TurnsForEachOfTheEight) {
  const std::map<int32_t, std::string> wanted = {{1, "abc/def"},  {2, "cba/fed"},  {3, "fed/cba"},
                                                 {4, "def/abc"},  {5, "ad/be/cf"}, {6, "da/eb/fc"},
                                                 {7, "fc/eb/da"}, {8, "cf/be/ad"}};
  for (const auto& [orientation, rows] : wanted) {
    EXPECT_EQ(rows, rowsOf(turnedPhoto(letters(), orientation))) << orientation;
  }
}

TEST(PhotoOrientation, IsReadOfTheExifDataOfAJpeg) {
  const Bytes jpeg = encodeJpeg(8, 8, Bytes(3 * 8 * 8, 100));
  EXPECT_EQ(1, exifOrientation(jpeg));
  for (const bool bigEndian : {false, true}) {
    for (uint16_t orientation = 1; orientation <= 8; ++orientation) {
      EXPECT_EQ(exifIsRead() ? orientation : 1,
                exifOrientation(withExif(jpeg, orientation, bigEndian)));
    }
  }
}

TEST(PhotoOrientation, IsAsStoredIfTheDataAreDamagedOrNoneOfTheEight) {
  const Bytes jpeg = encodeJpeg(8, 8, Bytes(3 * 8 * 8, 100));
  EXPECT_EQ(1, exifOrientation(withExif(jpeg, 0, false)));
  EXPECT_EQ(1, exifOrientation(withExif(jpeg, 9, false)));
  EXPECT_EQ(1, exifOrientation({}));
  EXPECT_EQ(1, exifOrientation({0xFF, 0xD8}));
  EXPECT_EQ(1, exifOrientation(encodePng(8, 8, 8, SPNG_COLOR_TYPE_TRUECOLOR, Bytes(192, 1))));
  // Truncated at any offset, the result is 6 or unknown, and nothing is read past the end.
  const Bytes whole = withExif(jpeg, 6, false);
  for (size_t length = 0; length < 60; ++length) {
    const int32_t got =
        exifOrientation(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_TRUE(got == 1 || got == 6) << length;
  }
}

}  // namespace
}  // namespace facefeature_test

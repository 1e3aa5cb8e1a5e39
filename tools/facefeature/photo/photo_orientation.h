// The turn that a camera writes into the Exif data of a picture instead of turning its pixels.
#ifndef FACEFEATURE_TOOLS_PHOTO_PHOTO_ORIENTATION_H
#define FACEFEATURE_TOOLS_PHOTO_PHOTO_ORIENTATION_H

#include <cstdint>
#include <vector>

#include "photo/photo.h"

namespace facefeature_tools {

// The orientations of Exif, 1 to 8. 1 is the picture as it is stored; 2 is mirrored left to right;
// 3 is turned by half; 4 is mirrored top to bottom; 6 and 8 ask for a quarter turn, clockwise and
// counterclockwise; 5 and 7 are mirrored along the two diagonals.
constexpr int32_t kAsStored = 1;

// Whether this program was built with a reader of Exif data.
bool exifIsRead();

// The orientation of a JPEG file of these bytes. kAsStored where there is none, where it is none of
// the eight, for other kinds of files, and where Exif data are not read.
int32_t exifOrientation(const std::vector<uint8_t>& file);

// The picture as the orientation asks to see it. REQUIRES: 1 to 8.
Photo turnedPhoto(const Photo& photo, int32_t orientation);

}  // namespace facefeature_tools

#endif

// The rotation that a camera writes into the Exif data of a picture instead of turning its pixels.
#ifndef FACEFEATURE_TOOLS_PHOTO_PHOTO_ORIENTATION_H
#define FACEFEATURE_TOOLS_PHOTO_PHOTO_ORIENTATION_H

#include <cstdint>
#include <vector>

#include "photo/photo.h"

namespace facefeature_tools {

// The orientations of Exif, 1 to 8. 1 is the picture as stored; 2 is mirrored left to right; 3 is
// turned by 180 degrees; 4 is mirrored top to bottom; 6 and 8 ask for a quarter turn, clockwise and
// counterclockwise; 5 and 7 are mirrored along the two diagonals.
constexpr int32_t kAsStored = 1;

// Whether this program was built with Exif support.
bool exifIsRead();

// The orientation in these bytes of a JPEG file. kAsStored if there is none, if it is not one of
// the eight, for other formats, and without Exif support.
int32_t exifOrientation(const std::vector<uint8_t>& file);

// The picture turned upright. REQUIRES: 1 to 8.
Photo turnedPhoto(const Photo& photo, int32_t orientation);

}  // namespace facefeature_tools

#endif

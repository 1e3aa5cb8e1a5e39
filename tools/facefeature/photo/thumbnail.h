// Small copies of photographs for people to look at. They are never used for features.
#ifndef FACEFEATURE_TOOLS_PHOTO_THUMBNAIL_H
#define FACEFEATURE_TOOLS_PHOTO_THUMBNAIL_H

#include <cstdint>
#include <string>
#include <vector>

#include "photo/photo.h"

namespace facefeature_tools {

// The photograph with its longer side reduced to at most side pixels. Each pixel is the mean of the
// area that it covers. A photograph that is small enough is returned unchanged. REQUIRES: side
// >= 1.
Photo reducedPhoto(const Photo& photo, int32_t side);

// The bytes of a JPEG file. quality is 1 to 100, as in libjpeg. Throws PhotoError for a side above
// 65500 pixels, std::bad_alloc.
std::vector<uint8_t> encodeJpeg(const Photo& photo, int quality);

// A JPEG file of at most side x side pixels for the photograph in a file, rotated according to its
// Exif data. Throws Failure (kBadInput).
std::vector<uint8_t> thumbnailOf(const std::string& path, int32_t side);

}  // namespace facefeature_tools

#endif

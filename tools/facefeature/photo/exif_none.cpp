// The program without Exif support.
#include "photo/photo_orientation.h"

namespace facefeature_tools {

bool exifIsRead() { return false; }

int32_t exifOrientation(const std::vector<uint8_t>&) { return kAsStored; }

}  // namespace facefeature_tools

// A photograph of a face, from a file.
#ifndef FACEFEATURE_TOOLS_FACE_FACE_PHOTO_H
#define FACEFEATURE_TOOLS_FACE_FACE_PHOTO_H

#include <cstdint>
#include <string>
#include <vector>

#include "photo/photo.h"

namespace facefeature_tools {

// How to handle an orientation in the Exif data of a photograph.
enum class ExifRule {
  kIgnore,  // pixels as stored; a warning if the orientation requires a rotation
  kApply    // pixels turned upright
};

// The option and its values, which are also passed to worker processes.
constexpr char kExifOption[] = "--exif";
const char* exifRuleName(ExifRule rule);

// Throws Failure (kWrongUsage) for kApply if the program was built without Exif support.
void requireExif(ExifRule rule);

// Reads a photograph of a face. Throws Failure: kBadInput, also for pictures below 2 x 2 pixels,
// which the library rejects; and whatever requireExif throws.
Photo readFacePhoto(const std::string& verb, const std::string& path, ExifRule rule);

// The same for the bytes of a file. path is their name in messages; no file is opened.
Photo decodeFacePhoto(const std::string& verb, const std::string& path,
                      const std::vector<uint8_t>& bytes, ExifRule rule);

}  // namespace facefeature_tools

#endif

#include "face/face_photo.h"

#include <utility>

#include "base/failure.h"
#include "photo/photo_orientation.h"

namespace facefeature_tools {
namespace {

constexpr int32_t kSmallestSide = 2;

Photo oriented(const std::string& verb, const std::string& path, Photo photo, int32_t orientation,
               ExifRule rule) {
  if (orientation == kAsStored) return photo;
  if (rule == ExifRule::kApply) return turnedPhoto(photo, orientation);
  say(verb, path + ": warning: its Exif data give orientation " + std::to_string(orientation) +
                ", but the pixels are used as stored. Landmarks must be for these; "
                "--exif apply rotates the picture first.");
  return photo;
}

}  // namespace

const char* exifRuleName(ExifRule rule) { return rule == ExifRule::kApply ? "apply" : "ignore"; }

void requireExif(ExifRule rule) {
  if (rule == ExifRule::kApply && !exifIsRead()) {
    throw Failure(kWrongUsage, "--exif apply",
                  "this program was built without a reader of Exif data",
                  "Rotate the picture first, or build the program with libexif");
  }
}

Photo readFacePhoto(const std::string& verb, const std::string& path, ExifRule rule) {
  requireExif(rule);
  return decodeFacePhoto(verb, path, readPhotoBytes(path), rule);
}

Photo decodeFacePhoto(const std::string& verb, const std::string& path,
                      const std::vector<uint8_t>& bytes, ExifRule rule) {
  requireExif(rule);
  Photo photo = decodePhotoFile(path, bytes);
  if (photo.width < kSmallestSide || photo.height < kSmallestSide) {
    throw Failure(kBadInput, path,
                  "has only " + std::to_string(photo.width) + " x " + std::to_string(photo.height) +
                      " pixels",
                  "Give a picture of at least 2 x 2 pixels");
  }
  return oriented(verb, path, std::move(photo), exifOrientation(bytes), rule);
}

}  // namespace facefeature_tools

#include "photo/photo.h"

#include <algorithm>
#include <initializer_list>

#include "base/failure.h"
#include "base/whole_file.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Give a complete JPEG, PNG or PPM file of the photograph";

bool startsWith(const std::vector<uint8_t>& bytes, std::initializer_list<uint8_t> start) {
  return bytes.size() >= start.size() && std::equal(start.begin(), start.end(), bytes.begin());
}

}  // namespace

Photo makePhoto(uint64_t width, uint64_t height) {
  if (width == 0 || height == 0) throw PhotoError("contains a picture without pixels");
  if (width > kMaxPixels || height > kMaxPixels || width * height > kMaxPixels) {
    throw PhotoError("contains a picture of " + std::to_string(width) + " x " +
                     std::to_string(height) + " pixels, more than the " +
                     std::to_string(kMaxPixels) + " that are supported");
  }
  Photo photo;
  photo.width = static_cast<int32_t>(width);
  photo.height = static_cast<int32_t>(height);
  photo.pixels.resize(static_cast<size_t>(3 * width * height));
  return photo;
}

Photo decodePhoto(const std::vector<uint8_t>& bytes) {
  if (bytes.empty()) throw PhotoError("is empty");
  if (startsWith(bytes, {0xFF, 0xD8})) return decodeJpeg(bytes);
  if (startsWith(bytes, {0x89, 'P', 'N', 'G'})) return decodePng(bytes);
  if (startsWith(bytes, {'P', '6'})) return decodePpm(bytes);
  throw PhotoError("is not a JPEG, PNG or binary PPM (P6) picture");
}

std::vector<uint8_t> readPhotoBytes(const std::string& path) {
  constexpr size_t kMaxFileBytes = size_t{1} << 29;
  return readWholeFile(path, kMaxFileBytes, kRemedy);
}

Photo decodePhotoFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  try {
    return decodePhoto(bytes);
  } catch (const PhotoError& error) {
    throw Failure(kBadInput, path, error.what(), kRemedy);
  }
}

Photo readPhoto(const std::string& path) { return decodePhotoFile(path, readPhotoBytes(path)); }

}  // namespace facefeature_tools

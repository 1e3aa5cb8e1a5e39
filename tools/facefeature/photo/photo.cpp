#include "photo/photo.h"

#include <algorithm>
#include <cstdio>

#include "base/failure.h"
#include "base/whole_file.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Give a complete JPEG, PNG or PPM file of the photograph";

using Decoder = Photo (*)(const std::vector<uint8_t>& bytes);

struct Format {
  size_t startBytes;
  uint8_t start[4];  // of a file
  Decoder decode;
};

constexpr Format kFormats[] = {{2, {0xFF, 0xD8}, decodeJpeg},
                               {4, {0x89, 'P', 'N', 'G'}, decodePng},
                               {2, {'P', '6'}, decodePpm}};

// The decoder for a file that begins with these bytes, or null.
Decoder decoderOf(const std::vector<uint8_t>& bytes) {
  for (const Format& format : kFormats) {
    if (bytes.size() >= format.startBytes &&
        std::equal(format.start, format.start + format.startBytes, bytes.begin())) {
      return format.decode;
    }
  }
  return nullptr;
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
  const Decoder decode = decoderOf(bytes);
  if (decode == nullptr) throw PhotoError("is not a JPEG, PNG or binary PPM (P6) picture");
  return decode(bytes);
}

bool looksLikePhoto(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  std::vector<uint8_t> start(4);
  start.resize(std::fread(start.data(), 1, start.size(), file));
  std::fclose(file);
  return decoderOf(start) != nullptr;
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

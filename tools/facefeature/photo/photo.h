// Decodes photographs: JPEG, PNG or PPM to the library's pixel order.
#ifndef FACEFEATURE_TOOLS_PHOTO_PHOTO_H
#define FACEFEATURE_TOOLS_PHOTO_PHOTO_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace facefeature_tools {

struct Photo {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> pixels;  // blue, green, red; rows from the top, without gaps

  int32_t stride() const { return 3 * width; }
};

// The error of a photograph's bytes, as a text that completes "the file ...".
class PhotoError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Decodes the bytes of a JPEG, PNG or PPM (P6) file; the format is detected from the first bytes,
// never from a file name. Throws PhotoError for anything but a complete and valid picture of at
// most kMaxPixels pixels: a decoder that repairs damage would give the feature of a face that
// nobody photographed.
Photo decodePhoto(const std::vector<uint8_t>& bytes);

// Whether the file begins like one that decodePhoto takes. False if it can't be read.
bool looksLikePhoto(const std::string& path);

// The same as decodePhoto from a file. Throws Failure (kBadInput).
Photo readPhoto(const std::string& path);

// The two steps of readPhoto, for callers that need more of the bytes than the pixels. Both throw
// Failure (kBadInput) with the path as its subject.
std::vector<uint8_t> readPhotoBytes(const std::string& path);
Photo decodePhotoFile(const std::string& path, const std::vector<uint8_t>& bytes);

// More than any camera takes at once. A header that asks for more is rejected before memory is
// allocated.
constexpr uint64_t kMaxPixels = uint64_t{1} << 28;

// The decoders behind decodePhoto, one per format.
Photo decodeJpeg(const std::vector<uint8_t>& bytes);
Photo decodePng(const std::vector<uint8_t>& bytes);
Photo decodePpm(const std::vector<uint8_t>& bytes);

// A photograph of this size with all pixels black. Throws PhotoError if it has no pixels or too
// many.
Photo makePhoto(uint64_t width, uint64_t height);

}  // namespace facefeature_tools

#endif

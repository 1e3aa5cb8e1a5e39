// Photographs: JPEG, PNG or PPM in, the library's own pixel order out.
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

// What is wrong with the bytes of a photograph, in words that complete "the file ...".
class PhotoError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A photograph from the bytes of a JPEG, PNG or PPM (P6) file; which of them is told by the first
// bytes, never by a file name. Throws PhotoError for anything that is not a whole and sound
// picture of at most kMaxPixels pixels: a decoder that repairs what is missing would make a feature
// of a face that nobody photographed.
Photo decodePhoto(const std::vector<uint8_t>& bytes);

// The same from a file. Throws Failure (kBadInput).
Photo readPhoto(const std::string& path);

// The two steps of it, for those who want more of the bytes than the pixels. Both throw Failure
// (kBadInput), with the path as its subject.
std::vector<uint8_t> readPhotoBytes(const std::string& path);
Photo decodePhotoFile(const std::string& path, const std::vector<uint8_t>& bytes);

// More than any camera takes at once. A header that asks for more is refused before any memory is
// taken.
constexpr uint64_t kMaxPixels = uint64_t{1} << 28;

// The decoders behind decodePhoto, one a format.
Photo decodeJpeg(const std::vector<uint8_t>& bytes);
Photo decodePng(const std::vector<uint8_t>& bytes);
Photo decodePpm(const std::vector<uint8_t>& bytes);

// A photograph of this size with all pixels black. Throws PhotoError when it has no pixels or too
// many.
Photo makePhoto(uint64_t width, uint64_t height);

}  // namespace facefeature_tools

#endif

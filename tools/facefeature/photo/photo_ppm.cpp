// Binary PPM: "P6", width, height and largest value as decimal text, one blank, the samples.
#include "photo/photo.h"

namespace facefeature_tools {
namespace {

bool isBlank(uint8_t byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }
bool isDigit(uint8_t byte) { return byte >= '0' && byte <= '9'; }

class PpmHeader {
 public:
  explicit PpmHeader(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}

  // The next number, below 2^32. White space and comments may precede it.
  uint64_t number() {
    skipBlanks();
    if (at_ >= bytes_.size() || !isDigit(bytes_[at_])) throw PhotoError(kBroken);
    uint64_t value = 0;
    for (; at_ < bytes_.size() && isDigit(bytes_[at_]); ++at_) {
      value = 10 * value + static_cast<uint64_t>(bytes_[at_] - '0');
      if (value > 0xFFFFFFFFu) throw PhotoError(kBroken);
    }
    return value;
  }

  // Start of the samples: exactly one white space precedes them, as a sample may look like another.
  size_t end() {
    if (at_ >= bytes_.size() || !isBlank(bytes_[at_])) throw PhotoError(kBroken);
    return at_ + 1;
  }

 private:
  static constexpr char kBroken[] = "is damaged or cut short (PPM: the header can't be read)";

  void skipBlanks() {
    for (; at_ < bytes_.size(); ++at_) {
      if (bytes_[at_] == '#') {
        while (at_ < bytes_.size() && bytes_[at_] != '\n' && bytes_[at_] != '\r') ++at_;
        if (at_ == bytes_.size()) return;
      } else if (!isBlank(bytes_[at_])) {
        return;
      }
    }
  }

  const std::vector<uint8_t>& bytes_;
  size_t at_ = 2;  // after "P6"
};

}  // namespace

Photo decodePpm(const std::vector<uint8_t>& bytes) {
  PpmHeader header(bytes);
  const uint64_t width = header.number();
  const uint64_t height = header.number();
  const uint64_t largest = header.number();
  const size_t start = header.end();
  if (largest == 0 || largest > 65535) {
    throw PhotoError("is damaged (PPM: the largest value is " + std::to_string(largest) +
                     ", not 1 to 65535)");
  }
  Photo photo = makePhoto(width, height);

  // Samples have two bytes, high byte first, if one is not enough.
  const size_t sampleBytes = largest > 255 ? 2 : 1;
  const size_t samples = photo.pixels.size();
  if (bytes.size() - start < samples * sampleBytes) {
    throw PhotoError("is damaged or cut short (PPM: " + std::to_string(bytes.size() - start) +
                     " bytes of samples, " + std::to_string(samples * sampleBytes) + " needed)");
  }
  for (size_t i = 0; i < samples; ++i) {
    const uint8_t* sample = &bytes[start + i * sampleBytes];
    const uint32_t value = sampleBytes == 2 ? 256u * sample[0] + sample[1] : sample[0];
    if (value > largest) throw PhotoError("is damaged (PPM: a sample above the largest value)");
    const uint32_t top = static_cast<uint32_t>(largest);
    // Red, green, blue in the file.
    photo.pixels[i / 3 * 3 + (2 - i % 3)] = static_cast<uint8_t>((value * 255 + top / 2) / top);
  }
  return photo;
}

}  // namespace facefeature_tools

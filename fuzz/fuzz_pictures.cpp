// Any file is either a picture of its size or an error message. Input: any bytes. They are read as
// the file of a photograph. A PNG is also tried with corrected checksums, since no mutated byte
// would get past those otherwise. A PPM is built from them as well.
//
// A picture that is read has the pixels of its size, is the same from memory and from a file, and
// survives a round trip through PPM. The built PPM gives what a plain reading of its samples gives.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "base/failure.h"
#include "bounded_memory.h"
#include "fuzz_input.h"
#include "photo/photo.h"
#include "same_results.h"
#include "support/private_temp_folder.h"
#include "written_file.h"

namespace {

using facefeature_fuzz::fail;
using facefeature_fuzz::Input;
using facefeature_tools::Photo;
using Bytes = std::vector<uint8_t>;

// A header may ask for a picture of any size; one larger than this runs out of memory here.
constexpr size_t kMaxBytes = size_t{4} << 20;

enum class Ending { kRead, kRefused, kOutOfMemory };

struct Outcome {
  Ending ending;
  Photo photo;
  std::string message;
};

Outcome decoded(const Bytes& bytes) {
  try {
    return {Ending::kRead, facefeature_tools::decodePhoto(bytes), ""};
  } catch (const facefeature_tools::PhotoError& error) {
    return {Ending::kRefused, {}, error.what()};
  } catch (const std::bad_alloc&) {
    return {Ending::kOutOfMemory, {}, ""};
  }
}

Outcome readBack(const std::string& path) {
  try {
    return {Ending::kRead, facefeature_tools::readPhoto(path), ""};
  } catch (const facefeature_tools::Failure& failure) {
    if (failure.code() != facefeature_tools::kBadInput) fail("the code of a failure", 0);
    return {Ending::kRefused, {}, failure.what()};
  } catch (const std::bad_alloc&) {
    return {Ending::kOutOfMemory, {}, ""};
  }
}

void requireSamePhoto(const char* what, const Photo& wanted, const Photo& got) {
  if (wanted.width != got.width) fail(what, 0);
  if (wanted.height != got.height) fail(what, 1);
  if (wanted.pixels != got.pixels) fail(what, 2);
}

void requireWhole(const Photo& photo) {
  const uint64_t width = static_cast<uint64_t>(photo.width);
  const uint64_t height = static_cast<uint64_t>(photo.height);
  if (photo.width < 1 || photo.height < 1) fail("a side of a picture", 0);
  if (width * height > facefeature_tools::kMaxPixels) fail("the size of a picture", 0);
  if (photo.pixels.size() != 3 * width * height) fail("the number of bytes", photo.pixels.size());
  if (static_cast<uint64_t>(photo.stride()) != 3 * width) fail("the stride", 0);
}

void append(Bytes& bytes, const std::string& text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
}

Bytes ppmOf(const Photo& photo) {
  Bytes bytes;
  append(bytes,
         "P6 " + std::to_string(photo.width) + " " + std::to_string(photo.height) + " 255\n");
  for (size_t i = 0; i < photo.pixels.size(); i += 3) {
    for (size_t channel = 3; channel > 0; --channel) bytes.push_back(photo.pixels[i + channel - 1]);
  }
  return bytes;
}

void requireSameFromFile(const std::string& path, const Outcome& outcome) {
  const Outcome fromFile = readBack(path);
  if (outcome.ending != fromFile.ending) fail("the ending", static_cast<size_t>(outcome.ending));
  requireSamePhoto("a picture from a file", outcome.photo, fromFile.photo);
  if (outcome.ending == Ending::kRefused &&
      fromFile.message.find(path + ": " + outcome.message + ". ") != 0) {
    fail("the message", 0);
  }
}

void checkFile(const Bytes& bytes) {
  static const std::string path = facefeature_test::privateTempFolder() + "/picture";
  // Files are slow, so only some of the pictures are tried as files.
  const bool fromFile = bytes.size() % 8 == 0;
  if (fromFile) facefeature_fuzz::writeFile(path, bytes.data(), bytes.size());
  const facefeature_fuzz::MemoryScope memory(kMaxBytes, 0x5A);
  const Outcome outcome = decoded(bytes);
  if (fromFile) requireSameFromFile(path, outcome);
  if (outcome.ending == Ending::kRefused && outcome.message.empty()) fail("no message", 0);
  if (outcome.ending != Ending::kRead) return;
  requireWhole(outcome.photo);
  requireSamePhoto("a picture written and read", outcome.photo,
                   facefeature_tools::decodePhoto(ppmOf(outcome.photo)));
}

uint32_t checksum(const uint8_t* bytes, size_t count) {
  uint32_t remainder = 0xFFFFFFFFu;
  for (size_t i = 0; i < count; ++i) {
    remainder ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit) {
      remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? 0xEDB88320u : 0);
    }
  }
  return ~remainder;
}

// Writes the correct checksum after each complete chunk: length, type, data, checksum.
void mendChecksums(Bytes& png) {
  for (size_t at = 8; at + 12 <= png.size();) {
    const size_t length = size_t{png[at]} << 24 | size_t{png[at + 1]} << 16 |
                          size_t{png[at + 2]} << 8 | size_t{png[at + 3]};
    if (length > png.size() - at - 12) return;
    const uint32_t sum = checksum(&png[at + 4], length + 4);
    for (size_t i = 0; i < 4; ++i) {
      png[at + 8 + length + i] = static_cast<uint8_t>(sum >> (24 - 8 * i));
    }
    at += length + 12;
  }
}

// Anything that may separate two numbers of the header.
std::string anyBlank(Input& input) {
  static const char* const kBlanks[] = {" ",        "\n",    "\t\r",    "\v \f",
                                        " # 7 7\n", "\n#\r", " #\n#\n "};
  return kBlanks[input.integer(0, 6)];
}

// A valid PPM, except that a sample may exceed the maximum value; it is rejected then.
void checkMadePpm(Input& input) {
  const int32_t width = input.integer(1, 12), height = input.integer(1, 12);
  const uint32_t largest = input.flag() ? static_cast<uint32_t>(input.integer(1, 300))
                                        : static_cast<uint32_t>(input.integer(1, 65535));
  Bytes ppm;
  append(ppm, "P6" + anyBlank(input) + std::to_string(width) + anyBlank(input) +
                  std::to_string(height) + anyBlank(input) + std::to_string(largest) + "\n");
  Photo wanted;
  wanted.width = width;
  wanted.height = height;
  wanted.pixels.resize(3 * static_cast<size_t>(width) * static_cast<size_t>(height));
  bool fits = true;
  for (size_t i = 0; i < wanted.pixels.size(); ++i) {
    uint32_t sample = input.byte();
    if (largest > 255) sample = sample * 256 + input.byte();
    const bool isSpoilt = input.byte() == 255;
    if (!isSpoilt) sample %= largest + 1;
    fits = fits && sample <= largest;
    if (largest > 255) ppm.push_back(static_cast<uint8_t>(sample / 256));
    ppm.push_back(static_cast<uint8_t>(sample % 256));
    // Scaled to 0 to 255 and rounded to the nearest, halves up.
    const uint32_t level = (2 * 255 * sample + largest) / (2 * largest);
    wanted.pixels[i - i % 3 + (2 - i % 3)] = static_cast<uint8_t>(level);
  }
  const Outcome got = decoded(ppm);
  if (got.ending != (fits ? Ending::kRead : Ending::kRefused)) fail("the ending of a PPM", 0);
  if (fits) requireSamePhoto("a PPM", wanted, got.photo);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Bytes bytes(data, data + size);
  checkFile(bytes);
  if (size > 8 && std::memcmp(data, "\x89PNG\r\n\x1A\n", 8) == 0) {
    mendChecksums(bytes);
    if (std::memcmp(bytes.data(), data, size) != 0) checkFile(bytes);
  }
  Input input(data, size);
  checkMadePpm(input);
  return 0;
}

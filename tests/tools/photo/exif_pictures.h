// JPEG files with an orientation in their Exif data, as cameras write it.
#ifndef FACEFEATURE_TESTS_TOOLS_PHOTO_EXIF_PICTURES_H
#define FACEFEATURE_TESTS_TOOLS_PHOTO_EXIF_PICTURES_H

#include <cstdint>
#include <string>

#include "tools/photo/encoded_pictures.h"

namespace facefeature_test {

// The same picture, preceded by a directory with one entry.
inline Bytes withExif(const Bytes& jpeg, uint16_t orientation, bool bigEndian) {
  const auto number = [bigEndian](uint32_t value, int bytes) {
    Bytes text;
    for (int i = 0; i < bytes; ++i) {
      const int shift = 8 * (bigEndian ? bytes - 1 - i : i);
      text.push_back(static_cast<uint8_t>(value >> shift & 0xFF));
    }
    return text;
  };
  Bytes body = bytesOfText(std::string("Exif\0\0", 6) + (bigEndian ? "MM" : "II"));
  const auto add = [&body](const Bytes& bytes) {
    for (const uint8_t byte : bytes) body.push_back(byte);
  };
  add(number(42, 2));
  add(number(8, 4));       // offset of the directory
  add(number(1, 2));       // number of entries
  add(number(0x0112, 2));  // orientation
  add(number(3, 2));       // type: 16 bits
  add(number(1, 4));       // number of values
  add(number(orientation, 2));
  add(number(0, 2));
  add(number(0, 4));  // no other directory
  Bytes file = bytesOfText(std::string("\xFF\xD8\xFF\xE1\0", 5));
  file.push_back(static_cast<uint8_t>(body.size() + 2));
  for (const uint8_t byte : body) file.push_back(byte);
  for (size_t i = 2; i < jpeg.size(); ++i) file.push_back(jpeg[i]);
  return file;
}

}  // namespace facefeature_test

#endif

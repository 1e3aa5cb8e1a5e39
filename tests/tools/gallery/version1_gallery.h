// Galleries of version 1, which no program writes anymore.
#ifndef FACEFEATURE_TESTS_TOOLS_GALLERY_VERSION1_GALLERY_H
#define FACEFEATURE_TESTS_TOOLS_GALLERY_VERSION1_GALLERY_H

#include <facefeature/facefeature.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/bits.h"

namespace facefeature_test {

inline std::string littleEndian(uint64_t number, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i));
  return text;
}

// All bytes of a gallery of the model 7, 7, 7, ...
inline std::string version1Bytes(const std::vector<std::string>& ids,
                                 const std::vector<FeatureVector>& features) {
  std::string offsets = littleEndian(0, 8), text;
  for (const std::string& id : ids) offsets += littleEndian((text += id).size(), 8);
  const std::string section = offsets + text;
  const size_t featuresAt = (256 + section.size() + 63) / 64 * 64;
  std::string library = "1.2.3", core = "Somecore";
  library.resize(64);
  core.resize(64);
  std::string bytes = "FFGALLRY" + littleEndian(1, 4) + littleEndian(256, 4) +
                      littleEndian(ids.size(), 8) + littleEndian(502, 4) + littleEndian(0, 4) +
                      std::string(32, '\7') + library + core + littleEndian(256, 8) +
                      littleEndian(section.size(), 8) + littleEndian(featuresAt, 8);
  bytes.resize(256);
  bytes += section;
  bytes.resize(featuresAt);
  for (const FeatureVector& feature : features) {
    for (const float value : feature.values) bytes += littleEndian(bitsOf(value), 4);
  }
  return bytes;
}

}  // namespace facefeature_test

#endif

// Images and templates for the tests of the adapters.
#ifndef FACEFEATURE_TESTS_ADAPTERS_TEMPLATES_H
#define FACEFEATURE_TESTS_ADAPTERS_TEMPLATES_H

#include <facefeature/facefeature.h>
#include <frvt_structs.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "photo/photo.h"
#include "support/seeded_random.h"

namespace facefeature_test {

using TemplateBytes = std::vector<uint8_t>;

inline FRVT::Image imageOf(uint16_t width, uint16_t height, uint8_t depth,
                           const std::vector<uint8_t>& bytes) {
  std::shared_ptr<uint8_t> data(new uint8_t[bytes.size()], std::default_delete<uint8_t[]>());
  std::memcpy(data.get(), bytes.data(), bytes.size());
  return FRVT::Image(width, height, depth, data, FRVT::Image::Label::Unknown);
}

inline FRVT::Image imageOf(const facefeature_tools::Photo& photo) {
  std::vector<uint8_t> bytes = photo.pixels;
  for (size_t i = 0; i < bytes.size(); i += 3) std::swap(bytes[i], bytes[i + 2]);
  return imageOf(static_cast<uint16_t>(photo.width), static_cast<uint16_t>(photo.height), 24,
                 bytes);
}

inline FRVT::Image noise(Random& random, uint8_t depth) {
  return imageOf(100, 80, depth, random.bytes(size_t{100} * 80 * (depth / 8)));
}

// A template of made-up features.
inline TemplateBytes madeUpTemplate(Random& random, int features = 1) {
  TemplateBytes bytes;
  for (int i = 0; i < features * static_cast<int>(kFeatureFloats); ++i) {
    const float value = random.between(-0.2f, 0.2f);
    const auto* start = reinterpret_cast<const uint8_t*>(&value);
    bytes.insert(bytes.end(), start, start + sizeof value);
  }
  return bytes;
}

inline FeatureVector featureIn(const TemplateBytes& bytes, size_t index) {
  FeatureVector feature;
  std::memcpy(&feature, bytes.data() + index * sizeof feature, sizeof feature);
  return feature;
}

}  // namespace facefeature_test

#endif

#include "gallery/feature_file.h"

#include <array>
#include <cstdint>
#include <vector>

#include "base/failure.h"
#include "base/little_endian.h"
#include "base/whole_file.h"

namespace facefeature_tools {
namespace {

constexpr size_t kFeatureBytes = sizeof(FeatureVector);
constexpr char kRemedy[] = "Make feature files with \"facefeature extract\"";

}  // namespace

void writeFeatureFile(const std::string& path, const FeatureVector& feature) {
  std::array<uint8_t, kFeatureBytes> bytes;
  for (size_t i = 0; i < kFeatureFloats; ++i) putFloat(feature.values[i], &bytes[4 * i]);
  writeWholeFile(path, bytes.data(), bytes.size());
}

FeatureVector readFeatureFile(const std::string& path) {
  constexpr size_t kLimit = size_t{64} << 20;
  const std::vector<uint8_t> bytes = readWholeFile(path, kLimit, kRemedy);
  if (bytes.size() != kFeatureBytes) {
    throw Failure(kBadInput, path,
                  "has " + std::to_string(bytes.size()) + " bytes, but a feature has " +
                      std::to_string(kFeatureBytes),
                  kRemedy);
  }
  FeatureVector feature;
  for (size_t i = 0; i < kFeatureFloats; ++i) feature.values[i] = getFloat(&bytes[4 * i]);
  return feature;
}

}  // namespace facefeature_tools

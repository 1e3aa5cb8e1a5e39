// The one photograph and the faces on it that the probe hands to the library, and its ways of
// handing them over wrongly.
#ifndef FACEFEATURE_TESTS_HOST_PROBE_REQUEST_H
#define FACEFEATURE_TESTS_HOST_PROBE_REQUEST_H

#include <cstdint>
#include <string>
#include <vector>

#include "facefeature/facefeature.h"
#include "host/probe_library.h"

namespace facefeature_test {

// The good request "face", for a host that makes the call itself.
struct ProbeRequest {
  std::vector<uint8_t> pixels;
  int32_t width;
  int32_t height;
  int32_t stride;
  std::vector<uint8_t> record;  // a LandmarkSet

  const LandmarkSet* landmarks() const {
    return reinterpret_cast<const LandmarkSet*>(record.data());
  }
};
ProbeRequest probeRequest();

// Extracts with this variant of the request:
//
//   face, other-face      good requests; the second face is larger, tilted and to the right
//   unwritten-photograph  the first face in memory that nobody wrote, for a checker of such reads
//   null-engine, null-pixels, null-landmarks, null-feature, width-1, height-1, count-negative,
//   count-zero, id-negative, id-318, id-huge, one-too-few, one-too-many
//                         the first face with this one thing wrong
//
// Returns what became of the feature: "untouched"; "nan" (all 502 are quiet NaNs); or "feature" and
// the bits of its floats in hexadecimal. A feature that was written gets into `feature`. Throws
// std::runtime_error when the library wrote to its input or outside the feature.
std::string extractVariant(const ProbeLibrary& library, FeatureEngine* engine,
                           const std::string& variant, FeatureVector& feature);

}  // namespace facefeature_test

#endif

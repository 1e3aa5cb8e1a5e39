// The photograph and faces that the probe passes to the library, and the ways in which it passes
// them incorrectly.
#ifndef FACEFEATURE_TESTS_HOST_PROBE_REQUEST_H
#define FACEFEATURE_TESTS_HOST_PROBE_REQUEST_H

#include <cstdint>
#include <string>
#include <vector>

#include "facefeature/facefeature.h"
#include "host/probe_library.h"

namespace facefeature_test {

// The valid request "face", for a host that makes the call itself.
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
//     face, other-face      valid requests; the second face is larger, tilted and further right
//     unwritten-photograph  the first face in uninitialised memory, for a checker of such reads
//     null-engine, null-pixels, null-landmarks, null-feature, width-1, height-1, count-negative,
//     count-zero, id-negative, id-318, id-huge, one-too-few, one-too-many
//                           the first face with this one error
//
// Returns what happened to the feature: "untouched"; "nan" (all 502 are quiet NaNs); or "feature"
// and the bits of its floats in hexadecimal. If a feature was written, it is stored in `feature`.
// Throws std::runtime_error if the library wrote to its input or outside the feature.
std::string extractVariant(const ProbeLibrary& library, FeatureEngine* engine,
                           const std::string& variant, FeatureVector& feature);

}  // namespace facefeature_test

#endif

// Compares the scores of all sets of scan kernels with CompareFeatures, bit by bit, for any
// features and probes. Arrays have exactly their size, so that sanitizers detect a read outside
// them.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "engine/feature_engine.h"
#include "fuzz_input.h"
#include "search/scan_kernels.h"

namespace {

using facefeature_fuzz::Input;
using facefeature_tools::ScanKernels;

uint32_t bitsOf(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::vector<FeatureVector> anyFeatures(Input& input, int32_t count) {
  std::vector<FeatureVector> features(static_cast<size_t>(count));
  for (FeatureVector& feature : features) {
    const std::vector<float> values = input.floats(502);
    std::memcpy(feature.values, values.data(), sizeof feature.values);
  }
  return features;
}

// On the heap, in a block of exactly their size.
std::unique_ptr<float[]> exactCopy(const std::vector<FeatureVector>& features) {
  std::unique_ptr<float[]> copy(new float[features.size() * 502]);
  if (!features.empty()) std::memcpy(copy.get(), features.data(), 2008 * features.size());
  return copy;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const std::vector<FeatureVector> rows = anyFeatures(input, input.integer(0, 40));
  const std::vector<FeatureVector> probes = anyFeatures(input, input.integer(0, 20));
  const std::unique_ptr<float[]> rowFloats = exactCopy(rows), probeFloats = exactCopy(probes);
  for (const ScanKernels& set : facefeature_tools::scanKernels()) {
    if (!set.runsHere()) continue;
    std::unique_ptr<float[]> scores(new float[rows.size() * probes.size()]);
    set.score(rowFloats.get(), static_cast<int32_t>(rows.size()), probeFloats.get(),
              static_cast<int32_t>(probes.size()), scores.get());
    for (size_t p = 0; p < probes.size(); ++p) {
      for (size_t r = 0; r < rows.size(); ++r) {
        const float wanted = facefeature::CompareFeatures(&probes[p], &rows[r]);
        const float got = scores[p * rows.size() + r];
        if (bitsOf(wanted) == bitsOf(got) || (std::isnan(wanted) && std::isnan(got))) continue;
        std::fprintf(stderr, "%s: probe %zu, row %zu: %08X, wanted %08X\n", set.name, p, r,
                     bitsOf(got), bitsOf(wanted));
        std::abort();
      }
    }
  }
  return 0;
}

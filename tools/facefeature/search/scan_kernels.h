// Scores of many features with several probes, in the instruction sets that processors have.
//
// The plain function is the definition: it has the bits of CompareFeatures. The other sets process
// several features side by side, one lane per feature. Each lane adds its products in ascending
// order of k and rounds the product and the sum separately, so the bits do not change. Splitting
// one sum across lanes would be faster and would change them.
#ifndef FACEFEATURE_TOOLS_SEARCH_SCAN_KERNELS_H
#define FACEFEATURE_TOOLS_SEARCH_SCAN_KERNELS_H

#include <cstdint>
#include <vector>

namespace facefeature_tools {

// scores[p * rows + r] = CompareFeatures(probe p, feature r), bit for bit. The sign and the payload
// of a NaN are not part of the result.
//
// features: rows x 502 floats, one feature after another; aligned to 4 bytes, 64 is fastest.
// probes:   count x 502 floats, stored the same way.
// scores:   count x rows floats. Does not overlap the others.
// rows and count may be 0. Reads nothing beyond the arrays. Any thread may call it.
using ScanFunction = void (*)(const float* features, int32_t rows, const float* probes,
                              int32_t count, float* scores);

struct ScanKernels {
  const char* name;  // "plain", "avx2", ...
  bool (*runsHere)();
  ScanFunction score;
};

// Every set that this build contains, fastest first. The last one is the plain set, which runs
// everywhere.
const std::vector<ScanKernels>& scanKernels();

// The first set of the list that runs on this processor.
const ScanKernels& fastestScanKernels();

// The functions of the sets. Call one only if runsHere() of its set is true.
void scoreRowsPlain(const float* features, int32_t rows, const float* probes, int32_t count,
                    float* scores);
#if defined(__x86_64__)
void scoreRowsAvx2(const float* features, int32_t rows, const float* probes, int32_t count,
                   float* scores);
void scoreRowsAvx512(const float* features, int32_t rows, const float* probes, int32_t count,
                     float* scores);
#elif defined(__aarch64__)
void scoreRowsNeon(const float* features, int32_t rows, const float* probes, int32_t count,
                   float* scores);
#endif

}  // namespace facefeature_tools

#endif

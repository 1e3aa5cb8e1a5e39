#include "search/scan_kernels.h"
#include "search/scan_layout.h"

namespace facefeature_tools {

void scoreRowsPlain(const float* features, int32_t rows, const float* probes, int32_t count,
                    float* scores) {
  for (int32_t p = 0; p < count; ++p) {
    const float* a = probes + static_cast<int64_t>(p) * kScanFloats;
    for (int32_t r = 0; r < rows; ++r) {
      const float* b = features + static_cast<int64_t>(r) * kScanFloats;
      float product = 0.0f;
      for (int32_t k = 0; k < kScanProducts; ++k) product += a[k] * b[k];
      const float numerator = product * 2.0f - (a[kScanSquares] + b[kScanSquares]);
      const float norms = a[kScanNorm] * b[kScanNorm];
      scores[static_cast<int64_t>(p) * rows + r] = numerator / norms + 1.0f;
    }
  }
}

}  // namespace facefeature_tools

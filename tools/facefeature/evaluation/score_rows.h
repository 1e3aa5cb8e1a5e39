// Scores of many features with each other, a row at a time.
#ifndef FACEFEATURE_TOOLS_EVALUATION_SCORE_ROWS_H
#define FACEFEATURE_TOOLS_EVALUATION_SCORE_ROWS_H

#include <facefeature/facefeature.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "search/scan_kernels.h"

namespace facefeature_tools {

enum class AllColumns { kNo, kYes };

// features has count features of 502 floats. Calls row(a, scores) once for each feature a;
// scores[b] has the bits of CompareFeatures(a, b) and is valid during the call. With
// AllColumns::kNo only scores[b] with b > a are computed.
//
// Every thread of an OpenMP parallel region calls this. The rows are distributed over the threads,
// and row() is called on the thread that computed the scores. Returns when all rows are done.
template <typename RowFunction>
void forEachScoreRow(const float* features, size_t featureCount, AllColumns columns,
                     const RowFunction& row) {
  // Probes per pass over the features. More would save little, because a pass is then limited by
  // arithmetic.
  constexpr int32_t kProbes = 32;
  const auto count = static_cast<int32_t>(featureCount);
  const auto feature = [features](int32_t i) { return features + ptrdiff_t{i} * kFeatureFloats; };
  const ScanFunction score = fastestScanKernels().score;
  std::vector<float> scores(static_cast<size_t>(count) * kProbes);
#pragma omp for schedule(dynamic)
  for (int32_t from = 0; from < count; from += kProbes) {
    const int32_t probes = std::min(kProbes, count - from);
    const int32_t firstColumn = columns == AllColumns::kYes ? 0 : from;
    const int32_t width = count - firstColumn;
    score(feature(firstColumn), width, feature(from), probes, scores.data() + firstColumn);
    for (int32_t p = 0; p < probes; ++p) {
      row(static_cast<uint32_t>(from + p), scores.data() + static_cast<ptrdiff_t>(p) * width);
    }
  }
}

}  // namespace facefeature_tools

#endif

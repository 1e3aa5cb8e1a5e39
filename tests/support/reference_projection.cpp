#include "support/reference_projection.h"

#include "support/reference_single_steps.h"

namespace reference {
namespace {

// Iterates over the columns and updates all 500 sums at once: each sum still adds its terms in
// ascending order of column.
std::vector<Single> times(const std::vector<float>& columns, const std::vector<float>& x) {
  std::vector<Single> sums(kProjections, Single(0.0f));
  const float* element = columns.data();
  for (const float factor : x) {
    for (Single& sum : sums) sum = sum + Single(*element++) * Single(factor);
  }
  return sums;
}

Single sumOfSquares(const std::vector<Single>& values) {
  Single sum(0.0f);
  for (const Single value : values) sum = sum + value * value;
  return sum;
}

}  // namespace

std::vector<float> columnsOf(const float* projection) {
  std::vector<float> columns(kProjections * kJoinedFloats);
  // In square blocks, for the cache.
  constexpr size_t kBlock = 20;
  for (size_t top = 0; top < kProjections; top += kBlock) {
    for (size_t left = 0; left < kJoinedFloats; left += kBlock) {
      for (size_t j = left; j < left + kBlock; ++j) {
        for (size_t r = top; r < top + kBlock; ++r) {
          columns[j * kProjections + r] = projection[r * kJoinedFloats + j];
        }
      }
    }
  }
  return columns;
}

ProjectedFeature project(const float* joined, const float* mean,
                         const std::vector<float>& selfColumns,
                         const std::vector<float>& crossColumns) {
  ProjectedFeature result;
  for (size_t k = 0; k < kJoinedFloats; ++k) {
    result.meanFree.push_back((Single(joined[k]) - Single(mean[k])).value);
  }
  const std::vector<Single> products = times(crossColumns, result.meanFree);
  for (const Single product : products) result.feature.push_back(product.value);
  result.feature.push_back(sumOfSquares(times(selfColumns, result.meanFree)).value);
  result.feature.push_back(squareRoot(sumOfSquares(products)).value);
  return result;
}

float compare(const float* a, const float* b) {
  Single dot(0.0f);
  for (size_t k = 0; k < kProjections; ++k) dot = dot + Single(a[k]) * Single(b[k]);
  const Single selves = Single(a[kProjections]) + Single(b[kProjections]);
  const Single norms = Single(a[kProjections + 1]) * Single(b[kProjections + 1]);
  const Single numerator = dot * Single(2.0f) - selves;
  return (numerator / norms + Single(1.0f)).value;
}

}  // namespace reference

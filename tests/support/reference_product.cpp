#include "support/reference_product.h"

#include <cmath>
#include <cstddef>
#include <vector>

#include "support/reference_arithmetic.h"

namespace reference {
namespace {

// sums += factor * row, every element in one rounding.
using AddRow = void (*)(float factor, const float* row, int32_t count, float* sums);

// An extraction has 200 million steps, so the instruction is used if the processor has one.
#if defined(__aarch64__)

void addRowByInstruction(float factor, const float* row, int32_t count, float* sums) {
  for (int32_t j = 0; j < count; ++j) sums[j] = std::fma(factor, row[j], sums[j]);
}

AddRow addRow() { return addRowByInstruction; }

#else

void addRowInDoubles(float factor, const float* row, int32_t count, float* sums) {
  for (int32_t j = 0; j < count; ++j) sums[j] = fused(factor, row[j], sums[j]);
}

#if defined(__x86_64__)

__attribute__((target("fma,avx2"))) void addRowByInstruction(float factor, const float* row,
                                                             int32_t count, float* sums) {
  for (int32_t j = 0; j < count; ++j) sums[j] = __builtin_fmaf(factor, row[j], sums[j]);
}

AddRow addRow() {
  return __builtin_cpu_supports("fma") && __builtin_cpu_supports("avx2") ? addRowByInstruction
                                                                         : addRowInDoubles;
}

#else

AddRow addRow() { return addRowInDoubles; }

#endif
#endif

}  // namespace

void matrixProduct(int32_t m, int32_t n, int32_t k, const float* a, const float* b, float beta,
                   float* c) {
  const AddRow add = addRow();
  std::vector<float> sums(static_cast<size_t>(n));
  for (int32_t i = 0; i < m; ++i) {
    sums.assign(sums.size(), 0.0f);
    for (int32_t l = 0; l < k; ++l) {
      add(a[static_cast<ptrdiff_t>(i) * k + l], b + static_cast<ptrdiff_t>(l) * n, n, sums.data());
    }
    for (int32_t j = 0; j < n; ++j) {
      float& element = c[static_cast<ptrdiff_t>(i) * n + j];
      const float total = sums[static_cast<size_t>(j)];
      element = beta == 0.0f ? total : sum(element, total);
    }
  }
}

}  // namespace reference

// The one operation that matrix products are made of.
#ifndef FACEFEATURE_KERNELS_FUSED_MULTIPLY_ADD_H
#define FACEFEATURE_KERNELS_FUSED_MULTIPLY_ADD_H

#include <cmath>
#include <cstdint>
#include <cstring>

namespace facefeature {

// The rare cases of fusedMultiplyAdd: see there.
float roundSumOnce(double product, double addend);
float nanOfFusedMultiplyAdd(float a, float b, float c);

// a * b + c with a single rounding: std::fma(a, b, c), on every processor and with every C library.
// Where the baseline instruction set has the operation, it is used. Elsewhere double arithmetic
// gives the same bits: some C libraries round twice, and others take a hundred nanoseconds.
//
// The bits of a NaN are part of the definition, because processors disagree about them. The first
// NaN among a, b and c is returned with its quiet bit set. An invalid operation (infinity times
// zero, or a difference of infinities) gives 0xFFC00000.
//
// Assumes the floating-point environment that a process starts with.
inline float fusedMultiplyAdd(float a, float b, float c) {
#ifdef FP_FAST_FMAF
  const float result = std::fma(a, b, c);
#else
  // The product of two floats is exact in double. Rounding the sum to double first may change the
  // float only if the double is halfway between two floats, which keep all but 29 of its bits, or
  // if the float is subnormal and keeps fewer.
  const double product = static_cast<double>(a) * static_cast<double>(b);
  const double sum = product + static_cast<double>(c);
  uint64_t bits;
  std::memcpy(&bits, &sum, sizeof bits);
  const bool isHalfway = (bits & 0x1FFFFFFFu) == 0x10000000u;
  const bool isSubnormal = std::fabs(sum) < 0x1p-126;
  const float result = isHalfway || isSubnormal ? roundSumOnce(product, static_cast<double>(c))
                                                : static_cast<float>(sum);
#endif
  return result == result ? result : nanOfFusedMultiplyAdd(a, b, c);
}

}  // namespace facefeature

#endif

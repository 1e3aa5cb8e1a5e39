#include "kernels/fused_multiply_add.h"

#include <initializer_list>

namespace facefeature {

// Rounds the sum to odd first: truncated, with the last bit set if anything was cut off. A double
// that is odd is never halfway between two floats, so the second rounding is the only one. Neither
// the product of two floats nor its sum with a third is ever subnormal as a double.
float roundSumOnce(double product, double addend) {
  const double sum = product + addend;
  // The error of the sum, exactly.
  const double addendPart = sum - product;
  const double error = (product - (sum - addendPart)) + (addend - addendPart);
  if (error == 0.0) return static_cast<float>(sum);
  uint64_t bits;
  std::memcpy(&bits, &sum, sizeof bits);
  // An error that points towards zero means that the sum was rounded away from it.
  if (std::signbit(error) != std::signbit(sum)) --bits;
  bits |= 1u;
  double odd;
  std::memcpy(&odd, &bits, sizeof odd);
  return static_cast<float>(odd);
}

float nanOfFusedMultiplyAdd(float a, float b, float c) {
  uint32_t bits = 0xFFC00000u;
  for (const float operand : {a, b, c}) {
    if (!std::isnan(operand)) continue;
    std::memcpy(&bits, &operand, sizeof bits);
    bits |= 0x00400000u;
    break;
  }
  float nan;
  std::memcpy(&nan, &bits, sizeof nan);
  return nan;
}

}  // namespace facefeature

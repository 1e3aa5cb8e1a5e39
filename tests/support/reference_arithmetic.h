// The exact single steps as functions of plain floats, to be passed as arguments.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_ARITHMETIC_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_ARITHMETIC_H

#include <cmath>
#include <cstdint>
#include <cstring>

#include "support/reference_single_steps.h"

namespace reference {

inline float product(float a, float b) { return (Single(a) * Single(b)).value; }
inline float sum(float a, float b) { return (Single(a) + Single(b)).value; }
inline float quotient(float a, float b) { return (Single(a) / Single(b)).value; }

// A double precision function, rounded once.
inline float rounded(double value) { return narrow(value).value; }
inline float exponential(float x) { return rounded(std::exp(static_cast<double>(x))); }

// a * b + c, rounded once. Not the runtime's function: MinGW's rounds the product too.
//
// The product is exact in double. Its sum with c may not be, and rounding must not produce a value
// halfway between two floats: an inexact sum is therefore rounded to odd, so that the second
// rounding is correct.
inline float fused(float a, float b, float c) {
  const double exact = static_cast<double>(a) * static_cast<double>(b), added = c;
  double total = exact + added;
  if (!std::isfinite(total)) return static_cast<float>(total);
  const double share = total - exact;
  const double rest = (exact - (total - share)) + (added - share);
  int64_t bits;
  std::memcpy(&bits, &total, sizeof bits);
  if (rest != 0.0 && bits % 2 == 0) {
    bits += (rest > 0.0) == (total > 0.0) ? 1 : -1;
    std::memcpy(&total, &bits, sizeof bits);
  }
  return static_cast<float>(total);
}

// The first argument if it is greater, else the second: the second wins ties and whenever one is
// NaN.
inline float greater(float a, float b) { return a > b ? a : b; }

}  // namespace reference

#endif

// The standard functions of single floats, taken in double and rounded once.
//
// The float forms of the C libraries are not the same everywhere; these are, as far as they were
// compared, and features are made with them. The root rounded from double is the correctly rounded
// one (double has more than twice the digits and two).
#ifndef FACEFEATURE_KERNELS_ROUNDED_MATH_H
#define FACEFEATURE_KERNELS_ROUNDED_MATH_H

#include <cmath>

namespace facefeature {

inline float roundedSqrt(float x) { return static_cast<float>(std::sqrt(static_cast<double>(x))); }
inline float roundedExp(float x) { return static_cast<float>(std::exp(static_cast<double>(x))); }
inline float roundedLog(float x) { return static_cast<float>(std::log(static_cast<double>(x))); }
inline float roundedTanh(float x) { return static_cast<float>(std::tanh(static_cast<double>(x))); }

}  // namespace facefeature

#endif

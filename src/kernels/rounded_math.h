// The standard functions of single floats, computed in double and rounded once.
//
// The float versions of the C libraries differ between platforms. These gave the same results
// wherever they were compared, and features depend on them. The square root rounded from double is
// correctly rounded (double has more than twice the digits of a float plus two).
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

// Element-wise routines over float arrays.
//
// n elements; a length below 1 or a null pointer computes nothing. The output may be an input.
// Exponential, logarithm and hyperbolic tangent are computed in double and rounded once: the float
// versions of the C libraries differ between platforms in the last bit, and the double ones,
// rounded, agreed wherever they were compared.
#ifndef FACEFEATURE_KERNELS_VECTOR_MATH_H
#define FACEFEATURE_KERNELS_VECTOR_MATH_H

#include <cstdint>

namespace facefeature {

void vsMul(int32_t n, const float* a, const float* b, float* y);  // a * b
void vsDiv(int32_t n, const float* a, const float* b, float* y);  // a / b
void vsInv(int32_t n, const float* a, float* y);                  // 1 / a
void vsSqr(int32_t n, const float* a, float* y);                  // a * a
void vsExp(int32_t n, const float* a, float* y);                  // e to the a
void vsLn(int32_t n, const float* a, float* y);                   // natural logarithm
void vsTanh(int32_t n, const float* a, float* y);                 // hyperbolic tangent

}  // namespace facefeature

#endif

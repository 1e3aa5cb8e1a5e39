#include "kernels/vector_math.h"

#include "kernels/rounded_math.h"

namespace facefeature {
namespace {

bool areValid(const float* a, const float* y) { return a != nullptr && y != nullptr; }

}  // namespace

void vsMul(int32_t n, const float* a, const float* b, float* y) {
  if (!areValid(a, y) || b == nullptr) return;
  for (int32_t i = 0; i < n; ++i) y[i] = a[i] * b[i];
}

void vsDiv(int32_t n, const float* a, const float* b, float* y) {
  if (!areValid(a, y) || b == nullptr) return;
  for (int32_t i = 0; i < n; ++i) y[i] = a[i] / b[i];
}

void vsInv(int32_t n, const float* a, float* y) {
  if (!areValid(a, y)) return;
  for (int32_t i = 0; i < n; ++i) y[i] = 1.0f / a[i];
}

void vsSqr(int32_t n, const float* a, float* y) {
  if (!areValid(a, y)) return;
  for (int32_t i = 0; i < n; ++i) y[i] = a[i] * a[i];
}

void vsExp(int32_t n, const float* a, float* y) {
  if (!areValid(a, y)) return;
  for (int32_t i = 0; i < n; ++i) y[i] = roundedExp(a[i]);
}

void vsLn(int32_t n, const float* a, float* y) {
  if (!areValid(a, y)) return;
  for (int32_t i = 0; i < n; ++i) y[i] = roundedLog(a[i]);
}

void vsTanh(int32_t n, const float* a, float* y) {
  if (!areValid(a, y)) return;
  for (int32_t i = 0; i < n; ++i) y[i] = roundedTanh(a[i]);
}

}  // namespace facefeature

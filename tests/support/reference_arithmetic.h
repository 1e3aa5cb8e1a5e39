// The exact single steps as functions of plain floats, to be handed on as arguments.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_ARITHMETIC_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_ARITHMETIC_H

#include <cmath>

#include "support/reference_single_steps.h"

namespace reference {

inline float product(float a, float b) { return (Single(a) * Single(b)).value; }
inline float sum(float a, float b) { return (Single(a) + Single(b)).value; }
inline float quotient(float a, float b) { return (Single(a) / Single(b)).value; }

// A function of double precision, rounded once.
inline float rounded(double value) { return narrow(value).value; }
inline float exponential(float x) { return rounded(std::exp(static_cast<double>(x))); }

// The first one where it is greater; so the second one wins a tie and whenever either is a NaN.
inline float greater(float a, float b) { return a > b ? a : b; }

}  // namespace reference

#endif

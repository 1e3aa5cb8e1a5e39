// Float arithmetic in exact single steps, for the oracles.
//
// A product, sum, difference, quotient or square root of two floats that is computed in double and
// then rounded to float is the correctly rounded float result: double has more than twice the
// digits of a float plus two. So an oracle written with Single rounds after every operation
// whatever the compiler's flags, even if the code under test fused a multiplication and an
// addition.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_SINGLE_STEPS_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_SINGLE_STEPS_H

#include <cmath>
#include <cstdint>

namespace reference {

struct Single {
  float value = 0.0f;

  Single() = default;
  Single(float v) : value(v) {}
  // A double literal or an integer in a formula would hide a rounding: neither converts implicitly.
  Single(double) = delete;
  Single(int32_t) = delete;

  double wide() const { return static_cast<double>(value); }
};

inline Single narrow(double exactlyOneOperation) {
  return Single(static_cast<float>(exactlyOneOperation));
}

inline Single operator+(Single a, Single b) { return narrow(a.wide() + b.wide()); }
inline Single operator-(Single a, Single b) { return narrow(a.wide() - b.wide()); }
inline Single operator*(Single a, Single b) { return narrow(a.wide() * b.wide()); }
inline Single operator/(Single a, Single b) { return narrow(a.wide() / b.wide()); }
inline Single operator-(Single a) { return Single(-a.value); }

inline Single squareRoot(Single a) { return narrow(std::sqrt(a.wide())); }
inline Single fromInteger(int32_t a) { return Single(static_cast<float>(a)); }

}  // namespace reference

#endif

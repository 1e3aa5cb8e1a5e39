#include "config/number_text.h"

#include <limits>

namespace facefeature {
namespace {

constexpr int32_t kIntDigits = 10;
constexpr int32_t kWholeDigits = 39;
constexpr int32_t kFractionDigits = 38;

// The largest finite float, as a double.
constexpr double kLargestFloat = 3.4028234663852886e38;

// [STATE] The digits of the number being read, as values 0 to 9. One conversion at a time.
int32_t intDigits[kIntDigits];
int32_t wholeDigits[kWholeDigits];
int32_t fractionDigits[kFractionDigits];

// Signed, so that bytes from 128 up are below '0' on every platform.
bool isDigit(char byte) {
  const signed char value = static_cast<signed char>(byte);
  return value >= 48 && value <= 57;
}

bool skipZeros(const char*& cursor) {
  const bool seen = *cursor == '0';
  while (*cursor == '0') ++cursor;
  return seen;
}

// Returns -1 for a minus sign, else 1; skips one sign.
int32_t readSign(const char*& cursor) {
  if (*cursor == '-') {
    ++cursor;
    return -1;
  }
  if (*cursor == '+') ++cursor;
  return 1;
}

int32_t copyDigits(const char*& cursor, int32_t* digits, int32_t room) {
  int32_t count = 0;
  while (count < room && isDigit(*cursor)) digits[count++] = *cursor++ - '0';
  return count;
}

}  // namespace

NumberTextResult parseIntText(const char* text, int32_t& value) {
  constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
  constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();

  const char* cursor = text;
  const int32_t sign = readSign(cursor);
  const bool zeroSeen = skipZeros(cursor);
  if (!isDigit(*cursor)) {
    if (!zeroSeen) return NumberTextNotANumber;
    value = 0;
    return NumberTextOk;
  }
  const int32_t count = copyDigits(cursor, intDigits, kIntDigits);
  if (isDigit(*cursor)) {
    // A number of eleven digits is clamped, whatever the digits are.
    value = sign > 0 ? kHighest : kLowest;
    return NumberTextClamped;
  }
  int64_t magnitude = 0;
  for (int32_t i = 0; i < count; ++i) magnitude = magnitude * 10 + intDigits[i];
  const int64_t result = magnitude * sign;
  if (result > kHighest) {
    value = kHighest;
    return NumberTextClamped;
  }
  if (result < kLowest) {
    value = kLowest;
    return NumberTextClamped;
  }
  value = static_cast<int32_t>(result);
  return NumberTextOk;
}

NumberTextResult parseFloatText(const char* text, float& value) {
  const char* cursor = text;
  const double sign = readSign(cursor);
  double number = 0.0;
  const NumberTextResult whole = parseWholeDigits(cursor, number);
  if (whole == NumberTextNotANumber) return NumberTextNotANumber;
  if (whole == NumberTextClamped) {
    value = sign > 0.0 ? std::numeric_limits<float>::max() : std::numeric_limits<float>::lowest();
    return NumberTextClamped;
  }
  if (*cursor == '.') {
    ++cursor;
    double fraction = 0.0;
    parseFractionDigits(cursor, fraction);
    number = fraction + number;
    // Only this path checks the range. Without a point, 39 digits may give infinity, which is
    // treated as a valid number.
    if (number > kLargestFloat) {
      value = static_cast<float>(sign * kLargestFloat);
      return NumberTextClamped;
    }
  }
  value = static_cast<float>(number * sign);
  return NumberTextOk;
}

NumberTextResult parseWholeDigits(const char*& cursor, double& value) {
  const bool zeroSeen = skipZeros(cursor);
  const int32_t count = copyDigits(cursor, wholeDigits, kWholeDigits);
  if (count == kWholeDigits && isDigit(*cursor)) return NumberTextClamped;
  if (count > 0) {
    // From the last digit up, with a weight that is multiplied instead of looked up: each step
    // rounds, and a correctly rounded conversion would give other bits.
    double sum = 0.0;
    double weight = 1.0;
    for (int32_t i = count - 1; i >= 0; --i) {
      sum += wholeDigits[i] * weight;
      weight *= 10.0;
    }
    value = sum;
    return NumberTextOk;
  }
  if (zeroSeen) {
    value = 0.0;
    return *cursor == '.' || *cursor == '\0' ? NumberTextOk : NumberTextZeroThenJunk;
  }
  if (*cursor == '.') {
    value = 0.0;
    return NumberTextOk;
  }
  return NumberTextNotANumber;
}

NumberTextResult parseFractionDigits(const char*& cursor, double& value) {
  const int32_t count = copyDigits(cursor, fractionDigits, kFractionDigits);
  // From the first digit down. The weight accumulates its rounding errors: the third one is
  // 0.0010000000000000002 instead of 0.001.
  double sum = 0.0;
  double weight = 0.1;
  for (int32_t i = 0; i < count; ++i) {
    sum += fractionDigits[i] * weight;
    weight *= 0.1;
  }
  value = sum;
  return NumberTextOk;
}

}  // namespace facefeature

#include <algorithm>
#include <limits>

#include "support/reference_config.h"

namespace reference {
namespace {

// Wide enough for the exact result of one operation on two doubles, or one that rounds to the same
// double. Narrowing it is the single rounding of that operation.
#if defined(__SIZEOF_FLOAT128__)
__extension__ using Wide = __float128;
#else
using Wide = long double;
static_assert(std::numeric_limits<Wide>::digits >= 108, "a sum or product would be rounded twice");
#endif

double plus(double a, double b) { return static_cast<double>(Wide(a) + Wide(b)); }
double times(double a, double b) { return static_cast<double>(Wide(a) * Wide(b)); }

// The sum of digits times weights, in the given order. The weights are powers of the factor by
// repeated multiplication, starting with firstWeight.
double weighDigits(const std::string& digits, double firstWeight, double factor) {
  double sum = 0.0;
  for (size_t i = 0; i < digits.size(); ++i) {
    double weight = firstWeight;
    for (size_t power = 0; power < i; ++power) weight = times(weight, factor);
    sum = plus(sum, times(digits[i] - '0', weight));
  }
  return sum;
}

float narrow(double value) {
  // Halfway between the largest float and the next power of two.
  constexpr double kInfinite = 0x1.ffffffp127;
  if (value >= kInfinite) return std::numeric_limits<float>::infinity();
  if (value <= -kInfinite) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(value);
}

std::string leadingDigits(const std::string& text) {
  return text.substr(0, std::min(text.find_first_not_of("0123456789"), text.size()));
}

size_t countLeadingZeros(const std::string& text) {
  return std::min(text.find_first_not_of('0'), text.size());
}

bool startsWithSign(const std::string& text) {
  return !text.empty() && (text[0] == '-' || text[0] == '+');
}

// Texts end at a NUL, also one inside the string.
std::string untilNul(const std::string& text) { return text.substr(0, text.find('\0')); }

}  // namespace

IntReading readInt(const std::string& text) {
  const std::string whole = untilNul(text);
  const bool negative = !whole.empty() && whole[0] == '-';
  const std::string digits = leadingDigits(whole.substr(startsWithSign(whole) ? 1 : 0));
  if (digits.empty()) return {3, false, 0};

  const std::string significant = digits.substr(countLeadingZeros(digits));
  const std::string limit = negative ? "2147483648" : "2147483647";
  if (significant.size() > limit.size() ||
      (significant.size() == limit.size() && significant > limit)) {
    return {1, true,
            negative ? std::numeric_limits<int32_t>::min() : std::numeric_limits<int32_t>::max()};
  }
  int32_t value = 0;
  for (const char digit : significant) {
    value = 10 * value + (negative ? '0' - digit : digit - '0');
  }
  return {0, true, value};
}

DigitsReading readWholeDigits(const std::string& text) {
  const std::string readable = untilNul(text);
  const size_t zeros = countLeadingZeros(readable);
  std::string digits = leadingDigits(readable.substr(zeros));
  if (digits.size() > 39) return {1, false, 0.0, zeros + 39};

  const size_t consumed = zeros + digits.size();
  if (!digits.empty()) {
    std::reverse(digits.begin(), digits.end());
    return {0, true, weighDigits(digits, 1.0, 10.0), consumed};
  }
  const bool atEnd = consumed == readable.size();
  const bool atPoint = !atEnd && readable[consumed] == '.';
  if (zeros > 0) return {atPoint || atEnd ? 0 : 2, true, 0.0, consumed};
  return {atPoint ? 0 : 3, atPoint, 0.0, consumed};
}

DigitsReading readFractionDigits(const std::string& text) {
  const std::string digits = leadingDigits(untilNul(text)).substr(0, 38);
  return {0, true, weighDigits(digits, 0.1, 0.1), digits.size()};
}

FloatReading readFloat(const std::string& text) {
  constexpr float kLargest = std::numeric_limits<float>::max();
  const std::string readable = untilNul(text);
  const bool negative = !readable.empty() && readable[0] == '-';
  const std::string number = readable.substr(startsWithSign(readable) ? 1 : 0);

  const DigitsReading whole = readWholeDigits(number);
  if (whole.code == 3) return {3, false, 0.0f};
  if (whole.code == 1) return {1, true, negative ? -kLargest : kLargest};

  double value = whole.value;
  if (whole.consumed < number.size() && number[whole.consumed] == '.') {
    value = plus(readFractionDigits(number.substr(whole.consumed + 1)).value, whole.value);
    if (value > static_cast<double>(kLargest)) return {1, true, negative ? -kLargest : kLargest};
  }
  return {0, true, negative ? -narrow(value) : narrow(value)};
}

}  // namespace reference

// Compares number texts with exact arithmetic on natural numbers of any length. Input: any bytes,
// read as a text and once more as digits, points and signs, so that long numbers are common. The
// text ends at its first NUL.
//
// Result code, target (or the fact that it is unchanged), the bits of both intermediate doubles and
// the position of the cursor must be those of the documented steps, each rounded here from its
// exact result. Independently of the steps, a float that was not clamped must be within half a unit
// of the written number, plus the small error that the steps may add.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "config/number_text.h"
#include "same_results.h"

namespace {

using facefeature::NumberTextResult;
using facefeature_fuzz::fail;

void require(bool isSame, const char* what, const std::string& text) {
  if (isSame) return;
  std::fprintf(stderr, "text: %s\n", text.c_str());
  fail(what, 0);
}

// A natural number in digits of 32 bits, the lowest first, without leading zeros.
class Natural {
 public:
  Natural() = default;
  explicit Natural(uint64_t value) {
    for (; value != 0; value >>= 32) digits_.push_back(static_cast<uint32_t>(value));
  }

  // The number of binary digits.
  size_t length() const {
    size_t bits = 32 * digits_.size();
    while (bits > 0 && !bit(bits - 1)) --bits;
    return bits;
  }

  bool bit(size_t position) const { return (digit(position / 32) >> position % 32) % 2 == 1; }

  Natural plus(const Natural& other) const {
    Natural sum;
    uint64_t carry = 0;
    for (size_t i = 0; i < std::max(digits_.size(), other.digits_.size()) || carry != 0; ++i) {
      carry += uint64_t{digit(i)} + other.digit(i);
      sum.digits_.push_back(static_cast<uint32_t>(carry));
      carry >>= 32;
    }
    return sum;
  }

  // The absolute difference.
  Natural distance(const Natural& other) const {
    if (isBelow(other)) return other.distance(*this);
    Natural rest;
    uint32_t borrow = 0;
    for (size_t i = 0; i < digits_.size(); ++i) {
      const uint64_t taken = uint64_t{other.digit(i)} + borrow;
      borrow = taken > digit(i) ? 1 : 0;
      rest.digits_.push_back(static_cast<uint32_t>(digit(i) - taken));
    }
    return rest.trimmed();
  }

  Natural times(const Natural& other) const {
    Natural product;
    product.digits_.assign(digits_.size() + other.digits_.size(), 0);
    for (size_t i = 0; i < digits_.size(); ++i) {
      uint64_t carry = 0;
      for (size_t k = 0; k < other.digits_.size() || carry != 0; ++k) {
        carry += product.digits_[i + k] + uint64_t{digits_[i]} * other.digit(k);
        product.digits_[i + k] = static_cast<uint32_t>(carry);
        carry >>= 32;
      }
    }
    return product.trimmed();
  }

  // Times two to the power `places`.
  Natural up(size_t bits) const {
    Natural result = times(Natural(uint64_t{1} << bits % 32));
    if (!result.digits_.empty()) result.digits_.insert(result.digits_.begin(), bits / 32, 0);
    return result;
  }

  // Without the lowest `bits` bits.
  Natural down(size_t bits) const {
    Natural result;
    for (size_t i = bits / 32; i < digits_.size(); ++i) {
      const uint64_t pair = uint64_t{digit(i + 1)} << 32 | digit(i);
      result.digits_.push_back(static_cast<uint32_t>(pair >> bits % 32));
    }
    return result.trimmed();
  }

  // Rounds to the nearest multiple of two to the power `places`, ties to even.
  Natural roundedToMultipleOf(size_t bits) const {
    if (bits == 0) return *this;
    Natural multiple = down(bits);
    const Natural half = Natural(1).up(bits - 1);
    const Natural rest = distance(multiple.up(bits));
    const bool isAboveHalf = half.isBelow(rest);
    const bool isHalf = !isAboveHalf && !rest.isBelow(half);
    if (isAboveHalf || (isHalf && multiple.bit(0))) multiple = multiple.plus(Natural(1));
    return multiple.up(bits);
  }

  bool isBelow(const Natural& other) const {
    if (digits_.size() != other.digits_.size()) return digits_.size() < other.digits_.size();
    return std::lexicographical_compare(digits_.rbegin(), digits_.rend(), other.digits_.rbegin(),
                                        other.digits_.rend());
  }

  // This number times two to the exponent, which the type can hold.
  double asDouble(int32_t exponent) const {
    double value = 0.0;
    for (const uint32_t digit : digits_) {
      value += std::ldexp(static_cast<double>(digit), exponent);
      exponent += 32;
    }
    return value;
  }

 private:
  uint32_t digit(size_t index) const { return index < digits_.size() ? digits_[index] : 0; }

  Natural trimmed() const {
    Natural result = *this;
    while (!result.digits_.empty() && result.digits_.back() == 0) result.digits_.pop_back();
    return result;
  }

  std::vector<uint32_t> digits_;
};

// A number that a double can hold, as a multiple of 2^-kScale. No text needs finer steps: the last
// weight of a fraction is above 2^-130, and its last bit above 2^-183.
constexpr size_t kScale = 256;

Natural roundedToDouble(const Natural& exact) {
  return exact.roundedToMultipleOf(exact.length() > 53 ? exact.length() - 53 : 0);
}

Natural doubleSum(const Natural& a, const Natural& b) { return roundedToDouble(a.plus(b)); }

Natural doubleProduct(const Natural& a, const Natural& b) {
  return roundedToDouble(a.times(b)).down(kScale);
}

double asDouble(const Natural& number) { return number.asDouble(-static_cast<int32_t>(kScale)); }

// Digits in the order in which they are weighted.
Natural weighed(const std::string& digits, Natural weight, const Natural& factor) {
  Natural sum;
  for (const char digit : digits) {
    sum =
        doubleSum(sum, roundedToDouble(weight.times(Natural(static_cast<uint64_t>(digit - '0')))));
    weight = doubleProduct(weight, factor);
  }
  return sum;
}

Natural wholePart(std::string digits) {
  std::reverse(digits.begin(), digits.end());
  return weighed(digits, Natural(1).up(kScale), Natural(10).up(kScale));
}

Natural fractionPart(const std::string& digits) {
  // The double nearest to a tenth.
  const Natural tenth = Natural(0x1999999999999A).up(kScale - 56);
  return weighed(digits, tenth, tenth);
}

// The largest float; infinity from half a unit above it.
const Natural& largestFloat() {
  static const Natural kLargest = Natural(0xFFFFFF).up(104 + kScale);
  return kLargest;
}

float asFloat(const Natural& number) {
  // 24 digits, but none below those of the smallest float, 2^-149.
  const size_t lost = std::max(number.length() > 24 ? number.length() - 24 : 0, kScale - 149);
  const Natural rounded = number.roundedToMultipleOf(lost);
  if (largestFloat().isBelow(rounded)) return std::numeric_limits<float>::infinity();
  return static_cast<float>(asDouble(rounded));
}

bool isDigit(char byte) { return std::strchr("0123456789", byte) != nullptr && byte != '\0'; }

// The parts of a number text.
struct Parts {
  bool isNegative = false;
  size_t zeros = 0;          // before the first other digit
  std::string whole;         // from that digit on
  bool hasPoint = false;     // directly after the whole part
  bool isEnd = false;        // the text ends after the whole part
  std::string fraction;      // all its digits
  size_t wholeStart = 0;     // offset of the first zero or digit
  size_t fractionStart = 0;  // after the point
};

Parts partsOf(const std::string& text) {
  Parts parts;
  parts.isNegative = text[0] == '-';
  size_t at = parts.isNegative || text[0] == '+' ? 1 : 0;
  parts.wholeStart = at;
  while (text[at] == '0') ++at, ++parts.zeros;
  while (isDigit(text[at])) parts.whole += text[at++];
  parts.isEnd = text[at] == '\0';
  parts.hasPoint = text[at] == '.';
  if (parts.hasPoint) ++at;
  parts.fractionStart = at;
  while (parts.hasPoint && isDigit(text[at])) parts.fraction += text[at++];
  return parts;
}

struct Text {
  std::string text;               // without NULs
  std::unique_ptr<char[]> bytes;  // with its NUL and not a byte more
};

void checkInt(const Text& text, const Parts& parts) {
  int32_t wanted = -77;
  int32_t code = 3;
  if (parts.zeros > 0 || !parts.whole.empty()) {
    uint64_t magnitude = 0;
    for (const char digit : parts.whole.substr(0, 10)) {
      magnitude = magnitude * 10 + static_cast<uint64_t>(digit - '0');
    }
    const uint64_t limit = parts.isNegative ? 2147483648u : 2147483647u;
    code = parts.whole.size() > 10 || magnitude > limit ? 1 : 0;
    if (code == 1) magnitude = limit;
    const int64_t value = static_cast<int64_t>(magnitude);
    wanted = static_cast<int32_t>(parts.isNegative ? -value : value);
  }
  int32_t got = -77;
  require(facefeature::parseIntText(text.bytes.get(), got) == code, "code of an int", text.text);
  require(got == wanted, "int", text.text);
}

int32_t wholeCode(const Parts& parts) {
  if (parts.whole.size() > 39) return 1;
  if (!parts.whole.empty()) return 0;
  if (parts.zeros > 0) return parts.hasPoint || parts.isEnd ? 0 : 2;
  return parts.hasPoint ? 0 : 3;
}

bool sameDouble(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

void checkDigits(const Text& text, const Parts& parts, const Natural& whole,
                 const Natural& fraction) {
  const int32_t code = wholeCode(parts);
  const char* const start = text.bytes.get() + parts.wholeStart;
  const char* cursor = start;
  double got = -77.5;
  require(facefeature::parseWholeDigits(cursor, got) == code, "code of whole digits", text.text);
  const double wanted = code == 1 || code == 3 ? -77.5 : asDouble(whole);
  require(sameDouble(wanted, got), "whole digits", text.text);
  const size_t passed = parts.zeros + std::min<size_t>(parts.whole.size(), 39);
  require(cursor == start + passed, "cursor at whole digits", text.text);

  if (!parts.hasPoint) return;
  const char* const point = text.bytes.get() + parts.fractionStart;
  cursor = point;
  require(facefeature::parseFractionDigits(cursor, got) == 0, "code of a fraction", text.text);
  require(sameDouble(asDouble(fraction), got), "fraction", text.text);
  require(cursor == point + std::min<size_t>(parts.fraction.size(), 38), "cursor at a fraction",
          text.text);
}

// |got - written| against written / 2^24 + written / 2^44, and half the smallest float.
void checkNearness(const Text& text, const Parts& parts, float got) {
  const std::string fraction = parts.fraction.substr(0, 38);
  Natural written, unit(1);
  for (const char digit : parts.whole + fraction) {
    written = written.times(Natural(10)).plus(Natural(static_cast<uint64_t>(digit - '0')));
  }
  for (size_t i = 0; i < fraction.size(); ++i) unit = unit.times(Natural(10));
  // All in units of 2^-kScale divided by ten to the number of digits of the fraction.
  int32_t exponent = 0;
  const double mantissa = std::frexp(std::fabs(static_cast<double>(got)), &exponent);
  const Natural digits(static_cast<uint64_t>(std::ldexp(mantissa, 24)));
  const size_t shift = static_cast<size_t>(static_cast<int32_t>(kScale) + exponent - 24);
  const Natural distance = digits.up(shift).times(unit).distance(written.up(kScale));
  const Natural allowed =
      written.up(kScale - 24).plus(written.up(kScale - 44)).plus(unit.up(kScale - 150));
  require(!allowed.isBelow(distance), "distance from the written number", text.text);
}

void checkFloat(const Text& text, const Parts& parts, const Natural& whole,
                const Natural& fraction) {
  int32_t code = wholeCode(parts);
  if (code == 2) code = 0;
  const Natural sum = parts.hasPoint ? doubleSum(fraction, whole) : whole;
  if (code == 0 && parts.hasPoint && largestFloat().isBelow(sum)) code = 1;
  float wanted = code == 1 ? std::numeric_limits<float>::max() : asFloat(sum);
  if (parts.isNegative) wanted = -wanted;
  if (code == 3) wanted = -77.5f;
  float got = -77.5f;
  require(facefeature::parseFloatText(text.bytes.get(), got) == code, "code of a float", text.text);
  require(std::memcmp(&wanted, &got, sizeof got) == 0, "float", text.text);
  if (code == 0 && std::isfinite(got)) checkNearness(text, parts, got);
}

void check(const std::string& bytes) {
  Text text = {bytes.substr(0, bytes.find('\0')), nullptr};
  text.bytes.reset(new char[text.text.size() + 1]);
  std::memcpy(text.bytes.get(), text.text.c_str(), text.text.size() + 1);
  const Parts parts = partsOf(text.text);
  checkInt(text, parts);
  const Natural whole = wholePart(parts.whole.substr(0, 39));
  const Natural fraction = fractionPart(parts.fraction.substr(0, 38));
  checkDigits(text, parts, whole, fraction);
  checkFloat(text, parts, whole, fraction);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(data, data + size);
  check(bytes);
  std::string digits;
  for (const char byte : bytes)
    digits += "01234567890123456789012345678999000.-e+"[(byte & 0xFF) % 39];
  check(digits);
  return 0;
}

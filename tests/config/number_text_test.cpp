#include "config/number_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "support/bits.h"
#include "support/reference_config.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::parseFloatText;
using facefeature::parseFractionDigits;
using facefeature::parseIntText;
using facefeature::parseWholeDigits;

constexpr int32_t kIntMark = 123456789;
constexpr float kFloatMark = -777.25f;
constexpr float kLargest = std::numeric_limits<float>::max();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

void expectInt(int32_t wantedCode, int32_t wanted, const std::string& text) {
  SCOPED_TRACE(::testing::PrintToString(text));
  int32_t value = kIntMark;
  EXPECT_EQ(wantedCode, parseIntText(text.c_str(), value));
  EXPECT_EQ(wanted, value);
}

void expectFloat(int32_t wantedCode, float wanted, const std::string& text) {
  SCOPED_TRACE(::testing::PrintToString(text));
  float value = kFloatMark;
  EXPECT_EQ(wantedCode, parseFloatText(text.c_str(), value));
  EXPECT_SAME_FLOAT(wanted, value);
}

TEST(ParseIntText, LimitsAreReadAndWhatLiesBeyondThemClamps) {
  expectInt(0, 2147483647, "2147483647");
  expectInt(1, 2147483647, "2147483648");
  expectInt(0, std::numeric_limits<int32_t>::min(), "-2147483648");
  expectInt(1, std::numeric_limits<int32_t>::min(), "-2147483649");
  expectInt(1, 2147483647, "9999999999");
  expectInt(1, std::numeric_limits<int32_t>::min(), "-9999999999");
}

TEST(ParseIntText, EleventhDigitClampsAndLeadingZerosAreNoDigits) {
  expectInt(1, 2147483647, "10000000000");
  expectInt(1, std::numeric_limits<int32_t>::min(), "-10000000000");
  expectInt(1, 2147483647, "99999999999999999999999999999999999999999999999999");
  expectInt(0, -12, "-00000000000012");
  expectInt(0, 1234567890, "+00000000000000000000000000000000001234567890");
}

TEST(ParseIntText, ZerosOfAnyNumberAndSignAreZero) {
  for (const char* text : {"0", "000", "-0", "+0", "0000000000000000000"}) expectInt(0, 0, text);
}

TEST(ParseIntText, BytesAfterTheDigitsAreIgnored) {
  expectInt(0, 12, "12abc");
  expectInt(0, 1, "1.5");
  expectInt(0, 0, "0x10");
  expectInt(0, 0, "0-5");
  expectInt(0, -7, "-7-7");
  expectInt(0, 7, "7\xff");
}

TEST(ParseIntText, TextWithoutADigitIsNoNumberAndLeavesTheTargetAlone) {
  for (const char* text : {"", "abc", "+", "-", "+-5", "--5", " 5", ".5", "\xb5", "\x80"}) {
    expectInt(3, kIntMark, text);
  }
}

TEST(ParseFloatText, OrdinaryNumbers) {
  expectFloat(0, 0.5f, "0.5");
  expectFloat(0, 0.5f, ".5");
  expectFloat(0, 0.5f, "00.5");
  expectFloat(0, 0.5f, "+.5");
  expectFloat(0, 5.0f, "5.");
  expectFloat(0, -12.25f, "-12.25");
}

TEST(ParseFloatText, LonePointIsZero) {
  expectFloat(0, 0.0f, ".");
  expectFloat(0, 0.0f, "+.");
  expectFloat(0, 0.0f, ".x");
}

TEST(ParseFloatText, MinusSignIsMultipliedIntoAZero) {
  expectFloat(0, -0.0f, "-.");
  expectFloat(0, -0.0f, "-0");
  expectFloat(0, -0.0f, "-0abc");
  expectFloat(0, -0.0f, "-000.000");
}

TEST(ParseFloatText, ZerosWithJunkAfterThemAreZero) {
  expectFloat(0, 0.0f, "0abc");
  expectFloat(0, 0.0f, "000-1");
}

TEST(ParseFloatText, ReadingStopsAtTheFirstByteThatDoesNotFit) {
  expectFloat(0, 1.0f, "1e5");
  expectFloat(0, 1.2f, "1.2.3");
  expectFloat(0, 5.0f, "5x");
  expectFloat(0, 2.5f, "2.5e9");
}

TEST(ParseFloatText, TextWithoutADigitOrPointIsNoNumberAndLeavesTheTargetAlone) {
  for (const char* text : {"", "abc", "+", "-", "+-5", "-+.5", " 5", "inf", "nan", "\xb5"}) {
    expectFloat(3, kFloatMark, text);
  }
}

TEST(ParseFloatText, FortyDigitsClampWhateverFollows) {
  const std::string forty = "1" + std::string(39, '0');
  for (const char* end : {"", ".", ".5", "x", "0000000000"}) {
    expectFloat(1, kLargest, forty + end);
    expectFloat(1, kLargest, "+" + forty + end);
    expectFloat(1, -kLargest, "-" + forty + end);
  }
}

TEST(ParseFloatText, LeadingZerosDoNotCountTowardsTheFortyDigits) {
  expectFloat(0, 1.0f, std::string(60, '0') + "1");
  expectFloat(0, 1e38f, "00" + ("1" + std::string(38, '0')));
  expectFloat(1, kLargest, "0" + std::string(40, '1'));
}

TEST(ParseFloatText, WholePartAboveTheRangeIsInfiniteWithoutAPointAndClampedWithOne) {
  const std::string digits = "4" + std::string(38, '0');
  expectFloat(0, kInfinity, digits);
  expectFloat(0, -kInfinity, "-" + digits);
  expectFloat(1, kLargest, digits + ".0");
  expectFloat(1, -kLargest, "-" + digits + ".0");
  expectFloat(1, kLargest, digits + ".");
  expectFloat(0, kInfinity, digits + "x.0");
}

TEST(ParseFloatText, LargestFloatItselfIsWithinTheRange) {
  // The steps end exactly at the largest float here, and at the next double above it there. As
  // floats the two are the same number, and only the result code differs.
  const std::string within = "340282346638528908811704183484516925440";
  const std::string above = "340282346638528998811704183484516925440";
  for (const char* end : {".", ".0"}) {
    expectFloat(0, kLargest, within + end);
    expectFloat(0, -kLargest, "-" + within + end);
    expectFloat(1, kLargest, above + end);
    expectFloat(1, -kLargest, "-" + above + end);
  }
}

TEST(ParseFloatText, FractionIsReadAsFarAsItsThirtyEighthDigit) {
  const std::string digits = "0.12345678901234567890123456789012345678";
  ASSERT_EQ(40u, digits.size());
  float shortened = 0.0f;
  ASSERT_EQ(0, parseFloatText(digits.c_str(), shortened));
  expectFloat(0, shortened, digits + "9999999999");
  expectFloat(0, 0.0f, "0." + std::string(38, '0') + "1");
  EXPECT_GT(reference::readFractionDigits(std::string(37, '0') + "1").value, 0.0);
}

// Weights by repeated multiplication accumulate rounding errors: none of these is the float nearest
// to the text.
TEST(ParseFloatText, RoundingIsThatOfRepeatedMultiplication) {
  float value = 0.0f;
  ASSERT_EQ(0, parseFloatText("829554766467713258397630464", value));
  EXPECT_BITS(0x6c2b8c43, value);
  ASSERT_EQ(0, parseFloatText("59161918273003262673846009856", value));
  EXPECT_BITS(0x6f3f2997, value);
  ASSERT_EQ(0, parseFloatText("2034345886427703680927995657694740480", value));
  EXPECT_BITS(0x7bc3e67f, value);
  ASSERT_EQ(0, parseFloatText("16777217.000000001", value));
  EXPECT_BITS(0x4b800000, value);
}

TEST(ParseFractionDigits, WeightsAreMultipliedUpFromATenth) {
  const char* text = "001";
  double value = -1.0;
  EXPECT_EQ(0, parseFractionDigits(text, value));
  EXPECT_EQ(0.0010000000000000002, value);
  EXPECT_STREQ("", text);
  text = "3";
  EXPECT_EQ(0, parseFractionDigits(text, value));
  EXPECT_EQ(0.30000000000000004, value);
}

TEST(ParseFractionDigits, NoDigitIsZeroAndMovesNothing) {
  for (const char* const text : {"", ".5", "x1", "-1"}) {
    const char* cursor = text;
    double value = -1.0;
    EXPECT_EQ(0, parseFractionDigits(cursor, value));
    EXPECT_EQ(text, cursor);
    EXPECT_EQ(0.0, value);
  }
}

TEST(ParseFractionDigits, CursorStopsAfterTheThirtyEighthDigit) {
  const std::string text(45, '7');
  const char* cursor = text.c_str();
  double value = -1.0;
  EXPECT_EQ(0, parseFractionDigits(cursor, value));
  EXPECT_EQ(text.c_str() + 38, cursor);
}

TEST(ParseWholeDigits, FortiethDigitStopsTheCursorAndLeavesTheTargetUnwritten) {
  const std::string text = "000" + std::string(41, '5');
  const char* cursor = text.c_str();
  double value = -1.0;
  EXPECT_EQ(1, parseWholeDigits(cursor, value));
  EXPECT_EQ(text.c_str() + 3 + 39, cursor);
  EXPECT_EQ(-1.0, value);
}

TEST(ParseWholeDigits, ZerosBeforeJunkHaveACodeOfTheirOwn) {
  const struct {
    const char* text;
    int32_t code;
    size_t consumed;
  } kCases[] = {{"0", 0, 1}, {"00.", 0, 2}, {"0x", 2, 1}, {"000-", 2, 3}, {".", 0, 0}};
  for (const auto& wanted : kCases) {
    SCOPED_TRACE(wanted.text);
    const char* cursor = wanted.text;
    double value = -1.0;
    EXPECT_EQ(wanted.code, parseWholeDigits(cursor, value));
    EXPECT_EQ(wanted.text + wanted.consumed, cursor);
    EXPECT_EQ(0.0, value);
  }
}

TEST(ParseWholeDigits, TextWithoutADigitOrPointLeavesTheTargetAlone) {
  for (const char* const text : {"", "x", "-1", "\xb5"}) {
    const char* cursor = text;
    double value = -1.0;
    EXPECT_EQ(3, parseWholeDigits(cursor, value));
    EXPECT_EQ(text, cursor);
    EXPECT_EQ(-1.0, value);
  }
}

std::string randomDigits(Random* random, int32_t low, int32_t high) {
  std::string digits;
  const int32_t length = random->integer(low, high);
  const bool extreme = random->chance(20);
  for (int32_t i = 0; i < length; ++i) {
    digits +=
        static_cast<char>('0' + (extreme ? 9 * random->integer(0, 1) : random->integer(0, 9)));
  }
  return digits;
}

// A number with an occasional sign, leading zeros and trailing characters.
std::string randomNumber(Random* random, int32_t wholeDigits, int32_t fractionDigits) {
  static const char* const kSigns[] = {"", "", "", "-", "-", "+", "+-", "--"};
  static const char* const kEnds[] = {"", "", "", "", "x", "e5", "-1", ".5", "\xb1", "\x80"};
  std::string text = kSigns[random->integer(0, 7)];
  if (random->chance(25)) text += std::string(static_cast<size_t>(random->integer(0, 45)), '0');
  text += randomDigits(random, 0, wholeDigits);
  if (random->chance(60)) text += "." + randomDigits(random, 0, fractionDigits);
  return text + kEnds[random->integer(0, 9)];
}

std::string randomJunk(Random* random) {
  static const std::string kAlphabet = "0000123456789..--++eEx_ \xb0\xff";
  std::string text;
  for (int32_t length = random->integer(0, 6); length > 0; --length) {
    text += kAlphabet[static_cast<size_t>(
        random->integer(0, static_cast<int32_t>(kAlphabet.size()) - 1))];
  }
  return text;
}

void expectIntAsTheOracle(const std::string& text) {
  const reference::IntReading wanted = reference::readInt(text);
  expectInt(wanted.code, wanted.written ? wanted.value : kIntMark, text);
}

TEST(ParseIntText, AnyTextIsReadAsItsDigits) {
  SeededRandom random;
  for (int run = 0; run < 20000 && !HasFailure(); ++run) {
    expectIntAsTheOracle(randomNumber(&random, 12, 2));
    expectIntAsTheOracle(randomJunk(&random));
  }
}

TEST(ParseIntText, NumbersAroundTheLimits) {
  for (int64_t distance = -2000; distance <= 2000 && !HasFailure(); ++distance) {
    expectIntAsTheOracle(std::to_string(int64_t{2147483647} + distance));
    expectIntAsTheOracle(std::to_string(-int64_t{2147483648} + distance));
  }
}

void expectFloatAsTheOracle(const std::string& text) {
  const reference::FloatReading wanted = reference::readFloat(text);
  expectFloat(wanted.code, wanted.written ? wanted.value : kFloatMark, text);
}

TEST(ParseFloatText, AnyTextIsReadWithEveryStepRounded) {
  SeededRandom random;
  for (int run = 0; run < 6000 && !HasFailure(); ++run) {
    expectFloatAsTheOracle(randomNumber(&random, 8, 12));
    expectFloatAsTheOracle(randomNumber(&random, 41, 41));
    expectFloatAsTheOracle(randomJunk(&random));
  }
}

// The largest float is 340282346638528859811704183484516925440: texts of 39 digits around it and
// around the halfway point to the next power of two, with and without a point.
TEST(ParseFloatText, NumbersAroundTheLimitOfTheRange) {
  SeededRandom random;
  for (const char* start : {"34028234", "34028235", "3402823466385288", "3402823567797336"}) {
    for (int run = 0; run < 200 && !HasFailure(); ++run) {
      std::string text = start;
      while (text.size() < 39) text += static_cast<char>('0' + random.integer(0, 9));
      expectFloatAsTheOracle(text);
      expectFloatAsTheOracle("-" + text + "." + randomDigits(&random, 0, 5));
    }
  }
}

void expectDigitsAsTheOracle(const reference::DigitsReading& wanted, const std::string& text,
                             facefeature::NumberTextResult (*parse)(const char*&, double&)) {
  SCOPED_TRACE(::testing::PrintToString(text));
  const char* cursor = text.c_str();
  double value = -1.0;
  EXPECT_EQ(wanted.code, parse(cursor, value));
  EXPECT_EQ(text.c_str() + wanted.consumed, cursor);
  EXPECT_EQ(wanted.written ? wanted.value : -1.0, value);
}

TEST(ParseWholeDigits, AnyTextMovesTheCursorPastItsDigits) {
  SeededRandom random;
  for (int run = 0; run < 4000 && !HasFailure(); ++run) {
    const std::string text =
        random.chance(50) ? randomNumber(&random, 42, 3) : randomDigits(&random, 30, 42);
    expectDigitsAsTheOracle(reference::readWholeDigits(text), text, parseWholeDigits);
  }
}

TEST(ParseFractionDigits, AnyTextMovesTheCursorPastItsDigits) {
  SeededRandom random;
  for (int run = 0; run < 4000 && !HasFailure(); ++run) {
    const std::string text = random.chance(50) ? randomNumber(&random, 20, 3)
                                               : randomDigits(&random, 0, 42) + randomJunk(&random);
    expectDigitsAsTheOracle(reference::readFractionDigits(text), text, parseFractionDigits);
  }
}

}  // namespace
}  // namespace facefeature_test

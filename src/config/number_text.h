// Converts the text of a value to a number. These routines use no locale and no stream. They differ
// from strtol and strtof in range, rounding and accepted input, and they define the meaning of a
// net text.
//
// The digit buffers are shared by the whole process: one conversion at a time.
#ifndef FACEFEATURE_CONFIG_NUMBER_TEXT_H
#define FACEFEATURE_CONFIG_NUMBER_TEXT_H

#include <cstdint>

namespace facefeature {

enum NumberTextResult : int32_t {
  NumberTextOk = 0,       // a number was read
  NumberTextClamped = 1,  // beyond the type's range; the target holds the limit
  NumberTextZeroThenJunk =
      2,  // zeros, then a byte that can't continue a number; only from parseWholeDigits
  NumberTextNotANumber = 3  // does not start with a digit; the target is unchanged
};

// Optional sign, digits; everything after the digits is ignored, so "1.5" is 1 and "0x10" is 0.
// More than ten digits after leading zeros clamp, whatever their value. text ends with a NUL.
NumberTextResult parseIntText(const char* text, int32_t& value);

// Optional sign, digits, optionally a point and digits; everything after that is ignored, and there
// is no exponent: "1e5" is 1. A whole part of up to 39 digits above the range of a float gives
// infinity with NumberTextOk if no point follows, and the largest float with NumberTextClamped if
// one does; 40 digits always clamp.
NumberTextResult parseFloatText(const char* text, float& value);

// The digits before the point; moves cursor past them. NumberTextClamped at a 40th digit, with
// value unwritten and cursor on that digit; NumberTextZeroThenJunk and 0 for zeros before anything
// but a point or the end; NumberTextNotANumber, value unwritten, without a digit or a point.
NumberTextResult parseWholeDigits(const char*& cursor, double& value);

// Up to 38 digits after the point; moves cursor past them. Always NumberTextOk.
NumberTextResult parseFractionDigits(const char*& cursor, double& value);

}  // namespace facefeature

#endif

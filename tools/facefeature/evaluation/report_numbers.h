// Formats numbers for reports.
#ifndef FACEFEATURE_TOOLS_EVALUATION_REPORT_NUMBERS_H
#define FACEFEATURE_TOOLS_EVALUATION_REPORT_NUMBERS_H

#include <nlohmann/json.hpp>
#include <string>

#include "base/sha256.h"

namespace facefeature_tools {

// A float with the nine digits that distinguish it from its neighbours; null if it is not finite.
nlohmann::ordered_json jsonFloat(float value);
// null if it is not finite.
nlohmann::ordered_json jsonNumber(double value);

// A digest of 64 lower-case hexadecimal digits. Throws std::invalid_argument with text that
// completes "the file ...".
Digest digestOfText(const std::string& text);

// "47.1 %", with one digit after the point, or more if the rate is near 0 or 1. "-" for NaN.
std::string percentText(double rate);

}  // namespace facefeature_tools

#endif

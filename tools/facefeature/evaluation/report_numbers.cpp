#include "evaluation/report_numbers.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "base/float_text.h"

namespace facefeature_tools {

nlohmann::ordered_json jsonFloat(float value) {
  if (!std::isfinite(value)) return nullptr;
  return std::stod(floatText(value));
}

nlohmann::ordered_json jsonNumber(double value) {
  if (!std::isfinite(value)) return nullptr;
  return value;
}

Digest digestOfText(const std::string& text) {
  Digest digest;
  const bool isValid = text.size() == 2 * digest.size() &&
                       text.find_first_not_of("0123456789abcdef") == std::string::npos;
  if (!isValid) {
    throw std::invalid_argument("has a fingerprint that is not 64 hexadecimal digits");
  }
  for (size_t i = 0; i < digest.size(); ++i) {
    digest[i] = static_cast<uint8_t>(std::stoi(text.substr(2 * i, 2), nullptr, 16));
  }
  return digest;
}

std::string percentText(double rate) {
  if (std::isnan(rate)) return "-";
  const double percent = 100.0 * rate;
  const double toTheEnd = std::min(percent, 100.0 - percent);
  int digits = 1;
  for (double limit = 1.0; toTheEnd > 0.0 && toTheEnd < limit && digits < 5; limit /= 10.0)
    ++digits;
  char text[32];
  std::snprintf(text, sizeof text, "%.*f %%", digits, percent);
  return text;
}

}  // namespace facefeature_tools

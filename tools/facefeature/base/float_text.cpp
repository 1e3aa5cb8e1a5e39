#include "base/float_text.h"

#include <cmath>
#include <cstdio>

namespace facefeature_tools {

std::string floatText(float value) {
  if (std::isnan(value)) return "nan";
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
  return text;
}

}  // namespace facefeature_tools

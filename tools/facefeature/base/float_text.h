// Floats as text.
#ifndef FACEFEATURE_TOOLS_BASE_FLOAT_TEXT_H
#define FACEFEATURE_TOOLS_BASE_FLOAT_TEXT_H

#include <string>

namespace facefeature_tools {

// Nine digits, which distinguish every float from its neighbours. "nan" for every NaN: its sign
// depends on the processor and means nothing.
std::string floatText(float value);

}  // namespace facefeature_tools

#endif

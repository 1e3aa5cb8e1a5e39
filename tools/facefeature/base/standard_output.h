// Data on standard output. A full disk or a reader that went away is a failure like any other.
#ifndef FACEFEATURE_TOOLS_BASE_STANDARD_OUTPUT_H
#define FACEFEATURE_TOOLS_BASE_STANDARD_OUTPUT_H

#include <string>

namespace facefeature_tools {

// May keep the text until finishData(). Throws Failure (kFailed).
void printData(const std::string& text);

// To be called when all data is printed. Throws Failure (kFailed).
void finishData();

}  // namespace facefeature_tools

#endif

// Data on standard output. A full disk or a reader that has exited is an ordinary failure.
#ifndef FACEFEATURE_TOOLS_BASE_STANDARD_OUTPUT_H
#define FACEFEATURE_TOOLS_BASE_STANDARD_OUTPUT_H

#include <string>

namespace facefeature_tools {

// May buffer the text until finishData(). Throws Failure (kFailed).
void printData(const std::string& text);

// Call this after all data is printed. Throws Failure (kFailed).
void finishData();

}  // namespace facefeature_tools

#endif

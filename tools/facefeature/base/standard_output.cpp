#include "base/standard_output.h"

#include <cerrno>
#include <cstdio>

#include "base/failure.h"

namespace facefeature_tools {
namespace {

Failure notWritten() {
  return Failure(kFailed, "standard output", "can't be written: " + systemMessage(errno),
                 "Redirect it to a disk with free space");
}

}  // namespace

void printData(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) throw notWritten();
}

void finishData() {
  if (std::fflush(stdout) != 0) throw notWritten();
}

}  // namespace facefeature_tools

#include "base/failure.h"

#include <cstdio>
#include <system_error>

namespace facefeature_tools {
namespace {

std::vector<std::string>* collectedMessages = nullptr;

}  // namespace

void collectMessages(std::vector<std::string>* messages) { collectedMessages = messages; }

void say(const std::string& verb, const std::string& text) {
  if (collectedMessages != nullptr) {
    collectedMessages->push_back(text);
    return;
  }
  const std::string line = "facefeature" + (verb.empty() ? verb : " " + verb) + ": " + text + "\n";
  // One call, so that lines of several processes on one terminal do not mix.
  std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string systemMessage(int errorNumber) { return std::generic_category().message(errorNumber); }

}  // namespace facefeature_tools

#include "base/failure.h"

#include <cstdio>
#include <system_error>

namespace facefeature_tools {
namespace {

std::vector<std::string>* keptWords = nullptr;

}  // namespace

void keepWords(std::vector<std::string>* words) { keptWords = words; }

void say(const std::string& verb, const std::string& text) {
  if (keptWords != nullptr) {
    keptWords->push_back(text);
    return;
  }
  const std::string line = "facefeature" + (verb.empty() ? verb : " " + verb) + ": " + text + "\n";
  // One call, so that lines of several processes on one terminal do not mix.
  std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string systemMessage(int errorNumber) { return std::generic_category().message(errorNumber); }

}  // namespace facefeature_tools

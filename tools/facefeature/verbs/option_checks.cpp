#include "verbs/option_checks.h"

#include <filesystem>

namespace facefeature_tools {

// CLI11 would convert a negative number to one close to the upper limit.
std::string negativeFault(const std::string& text) {
  return text.empty() || text.front() != '-' ? "" : text + " is not a whole number from 0";
}

std::string htmlNameFault(const std::string& path) {
  return std::filesystem::path(path).extension() == ".html" ? "" : path + " does not end in .html";
}

}  // namespace facefeature_tools

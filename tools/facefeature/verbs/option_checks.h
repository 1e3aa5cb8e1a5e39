// Checks of option values that several verbs share, for Option::check.
#ifndef FACEFEATURE_TOOLS_VERBS_OPTION_CHECKS_H
#define FACEFEATURE_TOOLS_VERBS_OPTION_CHECKS_H

#include <string>

namespace facefeature_tools {

// Each returns the error of a value, or an empty text.

// For numbers of an unsigned type, of which CLI11 checks everything else.
std::string negativeFault(const std::string& text);

std::string htmlNameFault(const std::string& path);

}  // namespace facefeature_tools

#endif

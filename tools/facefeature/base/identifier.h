// The names that photographs have in lists, galleries and score tables.
#ifndef FACEFEATURE_TOOLS_BASE_IDENTIFIER_H
#define FACEFEATURE_TOOLS_BASE_IDENTIFIER_H

#include <string>
#include <string_view>

namespace facefeature_tools {

constexpr size_t kLongestIdentifier = 1024;

// Empty for a good identifier: 1 to 1024 bytes of UTF-8 without control characters, so that it
// stands on one line anywhere. Otherwise words that complete "the id ...".
std::string identifierFault(std::string_view id);

}  // namespace facefeature_tools

#endif

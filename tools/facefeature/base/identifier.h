// The names of photographs in lists, galleries and score tables.
#ifndef FACEFEATURE_TOOLS_BASE_IDENTIFIER_H
#define FACEFEATURE_TOOLS_BASE_IDENTIFIER_H

#include <string>
#include <string_view>

namespace facefeature_tools {

constexpr size_t kMaxIdentifierBytes = 1024;

// Empty for a valid identifier: 1 to 1024 bytes of UTF-8 without control characters, so that it
// fits on one line anywhere. Otherwise a text that completes "the id ...".
std::string identifierFault(std::string_view id);

}  // namespace facefeature_tools

#endif

// Patterns like those of shells for file names.
#ifndef FACEFEATURE_TOOLS_BASE_TEXT_PATTERN_H
#define FACEFEATURE_TOOLS_BASE_TEXT_PATTERN_H

#include <string_view>

namespace facefeature_tools {

// Whether a pattern matches all of a text. * matches any number of characters, including none and
// including slashes; ? matches one character. Every other character matches itself, and so does a
// character after a backslash. Both texts are UTF-8.
bool matchesPattern(std::string_view pattern, std::string_view text);

}  // namespace facefeature_tools

#endif

// Patterns as shells have them for file names.
#ifndef FACEFEATURE_TOOLS_BASE_TEXT_PATTERN_H
#define FACEFEATURE_TOOLS_BASE_TEXT_PATTERN_H

#include <string_view>

namespace facefeature_tools {

// Whether a pattern matches all of a text. * stands for any characters, also none and also slashes;
// ? stands for one character. Every other character stands for itself, and a backslash before one
// makes it stand for itself. Both texts are UTF-8.
bool matchesPattern(std::string_view pattern, std::string_view text);

}  // namespace facefeature_tools

#endif

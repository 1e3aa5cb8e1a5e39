#include "base/text_pattern.h"

#include <cstddef>

namespace facefeature_tools {
namespace {

// Bytes of the character that starts there.
size_t characterBytes(std::string_view text, size_t at) {
  size_t end = at + 1;
  while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
  return end - at;
}

}  // namespace

bool matchesPattern(std::string_view pattern, std::string_view text) {
  size_t p = 0, t = 0;
  // After the last star so far, and where in the text its match ends at present.
  size_t afterStar = std::string_view::npos, starEnd = 0;
  while (t < text.size() || p < pattern.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      afterStar = ++p;
      starEnd = t;
      continue;
    }
    if (p < pattern.size() && t < text.size()) {
      if (pattern[p] == '?') {
        ++p;
        t += characterBytes(text, t);
        continue;
      }
      const size_t literal = pattern[p] == '\\' && p + 1 < pattern.size() ? p + 1 : p;
      if (pattern[literal] == text[t]) {
        p = literal + 1;
        ++t;
        continue;
      }
    }
    if (afterStar == std::string_view::npos || starEnd >= text.size()) return false;
    p = afterStar;
    starEnd += characterBytes(text, starEnd);
    t = starEnd;
  }
  return true;
}

}  // namespace facefeature_tools

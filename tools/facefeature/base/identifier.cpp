#include "base/identifier.h"

#include <cstdint>

namespace facefeature_tools {
namespace {

// Number of bytes of the character that starts at this position, or 0 if none does. The minimum
// value for each length rejects overlong encodings, which would make two ids look the same.
size_t characterLength(std::string_view text, size_t at) {
  constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t first = byte(at);
  if (first < 0x80) return 1;
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || at + length > text.size()) return 0;
  uint32_t value = first & (0x7Fu >> length);
  for (size_t i = at + 1; i < at + length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    value = value << 6 | (byte(i) & 0x3F);
  }
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  return value < kLeast[length] || value > 0x10FFFF || surrogate ? 0 : length;
}

}  // namespace

std::string identifierFault(std::string_view id) {
  if (id.empty()) return "is empty";
  if (id.size() > kMaxIdentifierBytes) return "has more than 1024 bytes";
  for (size_t at = 0; at < id.size();) {
    const size_t length = characterLength(id, at);
    if (length == 0) return "is not UTF-8";
    const uint8_t first = static_cast<uint8_t>(id[at]);
    if (first < 0x20 || first == 0x7F) return "contains a control character";
    at += length;
  }
  return "";
}

}  // namespace facefeature_tools

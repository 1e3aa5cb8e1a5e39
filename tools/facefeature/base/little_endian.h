// Numbers in files: 32 or 64 bits, least significant byte first, on every machine.
#ifndef FACEFEATURE_TOOLS_BASE_LITTLE_ENDIAN_H
#define FACEFEATURE_TOOLS_BASE_LITTLE_ENDIAN_H

#include <cstdint>
#include <cstring>

namespace facefeature_tools {

inline void putWord(uint32_t word, uint8_t* bytes) {
  bytes[0] = static_cast<uint8_t>(word);
  bytes[1] = static_cast<uint8_t>(word >> 8);
  bytes[2] = static_cast<uint8_t>(word >> 16);
  bytes[3] = static_cast<uint8_t>(word >> 24);
}

inline uint32_t getWord(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
         static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

inline void putLongWord(uint64_t word, uint8_t* bytes) {
  putWord(static_cast<uint32_t>(word), bytes);
  putWord(static_cast<uint32_t>(word >> 32), bytes + 4);
}

inline uint64_t getLongWord(const uint8_t* bytes) {
  return static_cast<uint64_t>(getWord(bytes)) | static_cast<uint64_t>(getWord(bytes + 4)) << 32;
}

inline void putFloat(float value, uint8_t* bytes) {
  uint32_t word;
  std::memcpy(&word, &value, sizeof word);
  putWord(word, bytes);
}

inline float getFloat(const uint8_t* bytes) {
  const uint32_t word = getWord(bytes);
  float value;
  std::memcpy(&value, &word, sizeof value);
  return value;
}

}  // namespace facefeature_tools

#endif

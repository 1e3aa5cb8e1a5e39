// The meaning of the net texts, their numbers and their lists, implemented a second time for tests.
//
// Nothing here shares code or method with the library: texts are split into whole lines and
// strings, numbers are strings of digits, and every step of the arithmetic is rounded separately.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_CONFIG_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_CONFIG_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace reference {

struct ConfigEntry {
  std::string key;
  std::vector<std::string> values;

  // The bytes of the entry as a document stores them, with all NULs.
  std::string storedText() const;
};

struct ConfigSection {
  std::string name;
  std::vector<ConfigEntry> entries;  // sorted
};

struct ConfigContent {
  std::vector<ConfigSection> sections;  // sorted
  std::vector<uint32_t> pieces;         // sizes of the strings stored, in the order of the text
};

// Reads up to the first NUL, if the string contains one.
ConfigContent parseConfig(const std::string& text);

// Below 0, 0 or above 0. Bytes are signed, and a NUL terminates each string.
int compareNames(const std::string& left, const std::string& right);

// The first matching index that a binary search over the closed range probes, or -1. An empty name
// is never looked up.
int32_t lookUp(const std::vector<std::string>& sortedNames, const std::string& name);

std::vector<std::string> namesOf(const std::vector<ConfigSection>& sections);
std::vector<std::string> keysOf(const ConfigSection& section);

// The bookkeeping of the string pool without its bytes.
struct PoolModel {
  struct Block {
    uint32_t capacity;
    uint32_t used;
    uint32_t allocations;
    uint32_t releases;
  };
  struct Position {
    size_t block;
    uint32_t offset;
  };

  explicit PoolModel(uint32_t textLength);
  Position allocate(uint32_t size);
  void releaseFrom(size_t block);
  void trim();

  uint32_t currentBlock = 0;
  uint32_t blockSize;
  std::vector<Block> blocks;
};

PoolModel poolAfterParse(const ConfigContent& content, uint32_t textLength);

// If the code leaves its target unchanged, `written` is false and the value is arbitrary.
struct IntReading {
  int32_t code;
  bool written;
  int32_t value;
};
struct FloatReading {
  int32_t code;
  bool written;
  float value;
};
struct DigitsReading {
  int32_t code;
  bool written;
  double value;
  size_t consumed;
};

IntReading readInt(const std::string& text);
FloatReading readFloat(const std::string& text);
DigitsReading readWholeDigits(const std::string& text);
DigitsReading readFractionDigits(const std::string& text);

std::vector<std::string> splitList(const std::string& value);
std::vector<int32_t> readIntList(const std::string& value);
std::vector<float> readFloatList(const std::string& value);
int32_t findName(const std::vector<std::string>& names, const std::string& name);

struct NetRow {
  int number;
  int channels;
  int size;
  size_t textLength;
};
const std::array<NetRow, 25>& netRows();

struct NetSection {
  std::string name;
  std::vector<ConfigEntry> lines;  // in the order of the text, one value each
};
std::vector<NetSection> netSections(int netIndex);
std::string netText(int netIndex);

}  // namespace reference

#endif

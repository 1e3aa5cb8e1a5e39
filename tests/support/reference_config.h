// What the net texts, their numbers and their lists mean, told a second time for the tests.
//
// Nothing here shares a line or a manner with the library: texts are taken apart as whole lines and
// strings, numbers as strings of digits, and every step of the arithmetic is rounded by itself.
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

  // The bytes of the entry as a document stores them, with all its NULs.
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

// Reads up to the first NUL, if there is one within the string.
ConfigContent parseConfig(const std::string& text);

// Below 0, 0 or above 0. Bytes are signed and a NUL stands behind each string.
int compareNames(const std::string& left, const std::string& right);

// The index that the probes of a search over the closed range come upon first, or -1. An empty name
// is not sought at all.
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
  struct Place {
    size_t block;
    uint32_t offset;
  };

  explicit PoolModel(uint32_t textLength);
  Place allocate(uint32_t size);
  void releaseFrom(size_t block);
  void trim();

  uint32_t currentBlock = 0;
  uint32_t blockSize;
  std::vector<Block> blocks;
};

PoolModel poolAfterParse(const ConfigContent& content, uint32_t textLength);

// A target that the code leaves alone has written false and any value.
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

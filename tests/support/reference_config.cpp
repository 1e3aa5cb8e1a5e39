#include "support/reference_config.h"

#include <algorithm>

namespace reference {
namespace {

// A line without its comment and its white space. Both are removed before any other character is
// examined, so the rest of the grammar never sees them.
std::string cleanLine(const std::string& line) {
  std::string clean = line.substr(0, line.find(';'));
  clean.erase(std::remove(clean.begin(), clean.end(), ' '), clean.end());
  clean.erase(std::remove(clean.begin(), clean.end(), '\t'), clean.end());
  return clean;
}

std::vector<std::string> cleanLines(const std::string& text) {
  const std::string readable = text.substr(0, text.find('\0'));
  std::vector<std::string> lines;
  size_t begin = 0;
  while (begin <= readable.size()) {
    const size_t end = std::min(readable.find_first_of("\r\n", begin), readable.size());
    lines.push_back(cleanLine(readable.substr(begin, end - begin)));
    begin = end + 1;
  }
  return lines;
}

std::vector<std::string> splitValues(const std::string& text) {
  std::vector<std::string> values(1);
  for (const char c : text) {
    if (c == ',') {
      values.emplace_back();
    } else {
      values.back() += c;
    }
  }
  return values;
}

// The name between the first left bracket and the next right one. Returns false if the line has no
// such pair.
bool readHead(const std::string& line, std::string* name) {
  const size_t left = line.find('[');
  if (left == std::string::npos) return false;
  const size_t right = line.find(']', left);
  if (right == std::string::npos) return false;
  *name = line.substr(left + 1, right - left - 1);
  return true;
}

// Inserts an element before the first one that is not less than it.
template <typename Element, typename NameOf>
void insertAhead(std::vector<Element>* elements, Element element, NameOf nameOf) {
  auto position = elements->begin();
  while (position != elements->end() && compareNames(nameOf(element), nameOf(*position)) > 0)
    ++position;
  elements->insert(position, std::move(element));
}

int32_t probe(const std::vector<std::string>& names, const std::string& name, int32_t first,
              int32_t last) {
  if (first > last) return -1;
  const int32_t middle = (first + last) / 2;
  const int order = compareNames(name, names[static_cast<size_t>(middle)]);
  if (order == 0) return middle;
  return order > 0 ? probe(names, name, middle + 1, last) : probe(names, name, first, middle - 1);
}

}  // namespace

std::string ConfigEntry::storedText() const {
  std::string text = key + '\0';
  for (const std::string& value : values) text += value + '\0';
  return text + '\0';
}

int compareNames(const std::string& left, const std::string& right) {
  for (size_t i = 0;; ++i) {
    const int a = i < left.size() ? static_cast<signed char>(left[i]) : 0;
    const int b = i < right.size() ? static_cast<signed char>(right[i]) : 0;
    if (a != b) return a - b;
    if (i >= left.size()) return 0;
  }
}

ConfigContent parseConfig(const std::string& text) {
  ConfigContent content;
  const auto sectionName = [](const ConfigSection& section) { return section.name; };
  const auto entryKey = [](const ConfigEntry& entry) { return entry.key; };
  const auto openSection = [&content](const std::string& name) {
    content.pieces.push_back(static_cast<uint32_t>(name.size() + 1));
    return ConfigSection{name, {}};
  };

  ConfigSection open = openSection("[DEFAULT]");
  bool listening = true;  // false from a section head without a name to the next one with a name
  for (const std::string& line : cleanLines(text)) {
    const size_t mark = line.find_first_of(listening ? "=[" : "[");
    if (mark == std::string::npos) continue;
    if (line[mark] == '[') {
      std::string name;
      if (!readHead(line, &name)) continue;
      if (listening) insertAhead(&content.sections, std::move(open), sectionName);
      listening = !name.empty();
      if (listening) open = openSection(name);
    } else if (mark > 0 && mark + 1 < line.size()) {
      ConfigEntry entry{line.substr(0, mark), splitValues(line.substr(mark + 1))};
      content.pieces.push_back(static_cast<uint32_t>(entry.storedText().size()));
      insertAhead(&open.entries, std::move(entry), entryKey);
    }
  }
  if (listening) insertAhead(&content.sections, std::move(open), sectionName);
  return content;
}

int32_t lookUp(const std::vector<std::string>& sortedNames, const std::string& name) {
  if (name.empty()) return -1;
  return probe(sortedNames, name, 0, static_cast<int32_t>(sortedNames.size()) - 1);
}

std::vector<std::string> namesOf(const std::vector<ConfigSection>& sections) {
  std::vector<std::string> names;
  for (const ConfigSection& section : sections) names.push_back(section.name);
  return names;
}

std::vector<std::string> keysOf(const ConfigSection& section) {
  std::vector<std::string> keys;
  for (const ConfigEntry& entry : section.entries) keys.push_back(entry.key);
  return keys;
}

PoolModel::PoolModel(uint32_t textLength)
    : blockSize(textLength / 16 + 1), blocks(16, Block{textLength / 16 + 1, 0, 0, 0}) {}

PoolModel::Position PoolModel::allocate(uint32_t size) {
  while (blocks[currentBlock].capacity - blocks[currentBlock].used < size) {
    blockSize = std::max(blockSize, size);
    if (++currentBlock == blocks.size()) blocks.push_back(Block{blockSize, 0, 0, 0});
    Block& next = blocks[currentBlock];
    if (next.capacity - next.used < size) next.capacity = blockSize;
  }
  Block& block = blocks[currentBlock];
  const Position position{currentBlock, block.used};
  block.used += size;
  ++block.allocations;
  return position;
}

void PoolModel::releaseFrom(size_t block) {
  ++blocks[block].releases;
  if (blocks[block].releases != blocks[block].allocations || block == currentBlock) return;
  blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(block));
  if (blocks.empty()) blocks.push_back(Block{blockSize, 0, 0, 0});
}

void PoolModel::trim() { blocks.resize(std::min<size_t>(blocks.size(), currentBlock + size_t{1})); }

PoolModel poolAfterParse(const ConfigContent& content, uint32_t textLength) {
  PoolModel pool(textLength);
  for (const uint32_t size : content.pieces) pool.allocate(size);
  pool.trim();
  return pool;
}

}  // namespace reference

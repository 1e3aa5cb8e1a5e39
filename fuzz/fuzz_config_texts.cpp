// Compares the parser of net texts, its pool, the searches and the readers of parameters with an
// independent implementation that splits texts into whole lines and searches by recursion
// (tests/support/reference_config.h). Input: any bytes. The text ends at their first NUL; the
// number of bytes is the length that sizes the pool.
//
// The document must have the same sections, entries and bytes in the same order and at the same
// offsets of the pool. Each of its names, duplicates included, and similar names that it lacks must
// be found at the same index. Every reader must give the same result for every entry: the exact
// bits of a number, or an unchanged target. A separate pool then handles pieces that the bytes
// request and release.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "config/config_document.h"
#include "config/layer_parameters.h"
#include "config/net_documents.h"
#include "same_results.h"
#include "support/reference_config.h"

namespace {

using facefeature::ConfigDocument;
using facefeature::ConfigPool;
using facefeature::ConfigPoolBlock;
using facefeature::ConfigSection;
using facefeature_fuzz::fail;
using facefeature_fuzz::requireSameFloats;

void require(bool isSame, const char* what, size_t position) {
  if (!isSame) fail(what, position);
}

void requireSamePool(const reference::PoolModel& wanted, const ConfigPool& got) {
  require(wanted.blocks.size() == got.blockCount, "count of blocks", 0);
  require(wanted.currentBlock == got.currentBlock, "current block", 0);
  require(wanted.blockSize == got.blockSize, "size of blocks", 0);
  for (size_t i = 0; i < got.blockCount; ++i) {
    const reference::PoolModel::Block& model = wanted.blocks[i];
    const ConfigPoolBlock& block = *got.blocks[i];
    require(model.capacity == block.capacity, "capacity of block", i);
    require(model.used == block.used, "use of block", i);
    require(model.allocations == block.allocations, "allocations of block", i);
    require(model.releases == block.releases, "releases of block", i);
  }
}

// All strings are at the offsets of the pieces that the text requested in turn. From here on the
// requested lengths are known to fit into the pool.
void requireSamePositions(const reference::ConfigContent& wanted, uint32_t length,
                          const ConfigDocument& got) {
  using String = std::pair<const char*, size_t>;
  std::vector<String> wantedStrings, strings;
  reference::PoolModel model(length);
  for (const uint32_t size : wanted.pieces) {
    const reference::PoolModel::Position position = model.allocate(size);
    wantedStrings.emplace_back(got.pool->blocks[position.block]->memory + position.offset, size);
  }
  for (size_t s = 0; s < wanted.sections.size(); ++s) {
    strings.emplace_back(got.sections[s]->name, wanted.sections[s].name.size() + 1);
    for (size_t e = 0; e < wanted.sections[s].entries.size(); ++e) {
      strings.emplace_back(got.sections[s]->entries[e],
                           wanted.sections[s].entries[e].storedText().size());
    }
  }
  std::sort(wantedStrings.begin(), wantedStrings.end());
  std::sort(strings.begin(), strings.end());
  require(wantedStrings == strings, "places of strings", 0);
}

void requireSameDocument(const reference::ConfigContent& wanted, uint32_t length,
                         const ConfigDocument& got) {
  requireSamePool(reference::poolAfterParse(wanted, length), *got.pool);
  require(got.defaultSection == -1, "default section", 0);
  require(wanted.sections.size() == got.sectionCount, "count of sections", 0);
  for (size_t s = 0; s < got.sectionCount; ++s) {
    const ConfigSection& section = *got.sections[s];
    require(wanted.sections[s].entries.size() == section.entryCount, "count of entries", s);
    require(section.entries != nullptr, "entries of section", s);
    require(section.pool == got.pool && section.defaultEntry == -1, "section", s);
  }
  requireSamePositions(wanted, length, got);
  for (size_t s = 0; s < got.sectionCount; ++s) {
    const ConfigSection& section = *got.sections[s];
    require(wanted.sections[s].name == section.name, "name of section", s);
    for (size_t e = 0; e < section.entryCount; ++e) {
      const std::string stored = wanted.sections[s].entries[e].storedText();
      require(std::memcmp(stored.data(), section.entries[e], stored.size()) == 0, "entry", e);
    }
  }
}

// The names, and for each a few that are easily confused with it.
std::set<std::string> soughtNames(const std::vector<std::string>& names) {
  std::set<std::string> sought = {"", "DEFAULT", "[DEFAULT]", "[", "coeffs", "\x80", "~"};
  for (const std::string& name : names) {
    sought.insert({name, name + "0", name + "\x80", name.substr(1), "\xff" + name});
    std::string changed = name;
    changed.back() = static_cast<char>(changed.back() ^ 0x20);
    sought.insert({changed, name.substr(0, name.size() - 1)});
  }
  return sought;
}

void checkScalars(const ConfigSection& section, const std::string& key, const std::string* value) {
  std::string text = "as it was";
  require(section.getString(key, text) == (value != nullptr), "getString", 0);
  require(text == (value != nullptr ? *value : "as it was"), "string", 0);

  const reference::IntReading whole =
      value != nullptr ? reference::readInt(*value) : reference::IntReading{3, false, 0};
  int32_t number = -77;
  require(section.getInt(key.c_str(), number) == (whole.code != 3), "getInt", 0);
  require(number == (whole.code != 3 ? whole.value : -77), "int", 0);

  const reference::FloatReading broken =
      value != nullptr ? reference::readFloat(*value) : reference::FloatReading{3, false, 0.0f};
  float real = -77.5f;
  require(section.getFloat(key.c_str(), real) == (broken.code != 3), "getFloat", 0);
  const float wanted = broken.code != 3 ? broken.value : -77.5f;
  require(std::memcmp(&real, &wanted, sizeof real) == 0, "float", 0);
}

void checkLists(const std::string& section, const std::string& key, const std::string& value) {
  const std::unique_ptr<std::vector<std::string>> tokens(facefeature::getStringList(section, key));
  require(*tokens == reference::splitList(value), "list of strings", 0);
  const std::unique_ptr<std::vector<int32_t>> numbers(facefeature::getIntList(section, key));
  require(*numbers == reference::readIntList(value), "list of ints", 0);
  for (const std::string& token : *tokens) {
    require(facefeature::findLayerName(*tokens, token) == reference::findName(*tokens, token),
            "findLayerName", 0);
  }
  require(facefeature::findLayerName(*tokens, key) == reference::findName(*tokens, key),
          "findLayerName", 1);
  if (key != "coeffs") return;
  const std::unique_ptr<std::vector<float>> floats(facefeature::getFloatList(section));
  const std::vector<float> wanted = reference::readFloatList(value);
  require(wanted.size() == floats->size(), "length of a list of floats", 0);
  requireSameFloats("list of floats", wanted.data(), floats->data(), wanted.size());
}

// The section that is found, whichever of several with this name; null if there is none.
void checkEntries(const std::string& name, const reference::ConfigSection* wanted,
                  const ConfigSection* got) {
  if (wanted == nullptr) return checkLists(name, "coeffs", "");
  const std::vector<std::string> keys = reference::keysOf(*wanted);
  for (const std::string& key : soughtNames(keys)) {
    const int32_t index = reference::lookUp(keys, key);
    require(got->findEntryIndex(key.c_str()) == index, "findEntryIndex", 0);
    const std::string* value = nullptr;
    if (index >= 0) value = &wanted->entries[static_cast<size_t>(index)].values[0];
    if (index >= 0) require(*value == got->entryValue(index), "entryValue", 0);
    checkScalars(*got, key, value);
    if (value != nullptr) checkLists(name, key, *value);
  }
  checkLists(name, "", "");
}

void checkDocument(const uint8_t* data, size_t size) {
  std::string text(data, data + size);
  text = text.substr(0, text.find('\0'));
  // Not a byte after the NUL that ends the text.
  const std::unique_ptr<char[]> bytes(new char[text.size() + 1]);
  std::memcpy(bytes.get(), text.c_str(), text.size() + 1);
  const uint32_t length = static_cast<uint32_t>(size);

  // The document holds the content of an earlier input, which must vanish completely.
  facefeature::currentNetIndex = length % facefeature::kNetCount;
  ConfigDocument& document = facefeature::currentDocument();
  require(document.parse(bytes.get(), length), "parse", 0);
  const reference::ConfigContent wanted = reference::parseConfig(text);
  requireSameDocument(wanted, length, document);

  const std::vector<std::string> names = reference::namesOf(wanted.sections);
  for (const std::string& name : soughtNames(names)) {
    const int32_t index = reference::lookUp(names, name);
    require(document.findSectionIndex(name.c_str()) == index, "findSectionIndex", 0);
    const ConfigSection* found = document.findSection(name.c_str());
    require(found == (index < 0 ? nullptr : document.sections[index]), "findSection", 0);
    checkEntries(name, index < 0 ? nullptr : &wanted.sections[static_cast<size_t>(index)], found);
  }
}

// A piece in use, filled with one byte.
struct Piece {
  char* pointer;
  uint32_t size;
  char filling;
  size_t block;
};

// The pool and its model, given the same requests. Pieces have at least one byte and are released
// once.
class CheckedPool {
 public:
  explicit CheckedPool(uint32_t textLength) : got_(textLength), model_(textLength) {}

  void allocate(uint32_t size) {
    // The index may be past the end if a release has removed blocks before it.
    while (model_.blocks.size() <= model_.currentBlock) {
      model_.blockSize = std::max(model_.blockSize, size);
      model_.blocks.push_back({model_.blockSize, 0, 0, 0});
    }
    const reference::PoolModel::Position position = model_.allocate(size);
    char* pointer = got_.allocate(size);
    requireSamePool(model_, got_);
    require(pointer == got_.blocks[position.block]->memory + position.offset, "piece",
            pieces_.size());
    const char filling = static_cast<char>(++count_);
    std::memset(pointer, filling, size);
    pieces_.push_back({pointer, size, filling, position.block});
  }

  void release(size_t wish) {
    if (pieces_.empty()) return;
    const size_t index = wish % pieces_.size();
    const Piece piece = pieces_[index];
    for (uint32_t i = 0; i < piece.size; ++i) {
      require(piece.pointer[i] == piece.filling, "byte of a piece", i);
    }
    pieces_.erase(pieces_.begin() + static_cast<std::ptrdiff_t>(index));
    const size_t blocksBefore = model_.blocks.size();
    model_.releaseFrom(piece.block);
    got_.release(piece.pointer + wish % piece.size);
    requireSamePool(model_, got_);
    if (model_.blocks.size() == blocksBefore) return;
    for (Piece& other : pieces_) other.block -= other.block > piece.block ? 1 : 0;
  }

  void trim() {
    model_.trim();
    got_.trim();
    requireSamePool(model_, got_);
  }

 private:
  ConfigPool got_;
  reference::PoolModel model_;
  std::vector<Piece> pieces_;
  uint32_t count_ = 0;
};

void checkPool(const uint8_t* data, size_t size) {
  CheckedPool pool(static_cast<uint32_t>(size));
  for (size_t i = 0; i < std::min<size_t>(size, 100); ++i) {
    if (data[i] % 64 == 63) {
      pool.trim();
    } else if (data[i] % 3 == 2) {
      pool.release(data[i] / 3);
    } else {
      pool.allocate(1 + data[i] / 3u);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  checkDocument(data, size);
  checkPool(data, size);
  return 0;
}

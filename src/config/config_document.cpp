#include "config/config_document.h"

#include <cstring>

#include "config/config_order.h"
#include "config/config_parser.h"
#include "config/number_text.h"

namespace facefeature {

int32_t ConfigSection::findEntryIndex(const char* key) const {
  if (*key == '\0') return defaultEntry;
  return findSorted(entries, entryCount, key);
}

const char* ConfigSection::entryValue(int32_t index) const {
  const char* entry = entries[index];
  return entry + std::strlen(entry) + 1;
}

bool ConfigSection::getString(const std::string& key, std::string& target) const {
  const int32_t index = findEntryIndex(key.c_str());
  if (index < 0) return false;
  target = entryValue(index);
  return true;
}

bool ConfigSection::getInt(const char* key, int32_t& target) const {
  const int32_t index = findEntryIndex(key);
  if (index < 0) return false;
  int32_t value;
  if (parseIntText(entryValue(index), value) == NumberTextNotANumber) return false;
  target = value;
  return true;
}

bool ConfigSection::getFloat(const char* key, float& target) const {
  const int32_t index = findEntryIndex(key);
  if (index < 0) return false;
  float value;
  if (parseFloatText(entryValue(index), value) == NumberTextNotANumber) return false;
  target = value;
  return true;
}

ConfigDocument::~ConfigDocument() { clear(); }

bool ConfigDocument::parse(const char* text, uint32_t length) {
  clear();
  pool = new ConfigPool(length);
  parseSections(text, *this);
  pool->trim();
  return true;
}

void ConfigDocument::clear() {
  if (sectionCount == 0 || sections == nullptr || pool == nullptr) return;
  for (uint32_t i = 0; i < sectionCount; ++i) {
    delete[] sections[i]->entries;
    delete sections[i];
  }
  delete[] sections;
  delete pool;
  sectionCount = 0;
  sections = nullptr;
  pool = nullptr;
}

int32_t ConfigDocument::findSectionIndex(const char* name) const {
  if (*name == '\0') return defaultSection;
  return findSorted(sections, sectionCount, name);
}

const ConfigSection* ConfigDocument::findSection(const char* name) const {
  const int32_t index = findSectionIndex(name);
  return index < 0 ? nullptr : sections[index];
}

}  // namespace facefeature

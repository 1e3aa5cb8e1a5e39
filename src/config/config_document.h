// A parsed net text: sections and entries in arrays sorted by name.
#ifndef FACEFEATURE_CONFIG_CONFIG_DOCUMENT_H
#define FACEFEATURE_CONFIG_CONFIG_DOCUMENT_H

#include <cstdint>
#include <string>

#include "config/config_pool.h"

namespace facefeature {

// One section. An entry is one byte string in the pool: the key, a NUL, the first value, a NUL,
// any further values each with a NUL behind it, and one more NUL. `channels=3` is the eight bytes
// of the key, a NUL, the digit, a NUL, a NUL.
struct ConfigSection {
  const char* name;  // in the pool, without brackets; only "[DEFAULT]" has them in its name
  uint32_t entryCount;
  const char** entries;  // exactly entryCount pointers into the pool, rising by key; owned by the
                         // document; a parse leaves it not null, also with no entries
  ConfigPool* pool;      // the document's
  int32_t defaultEntry;  // what an empty key finds: always -1, nothing

  // Index into entries, or -1. Of several entries with the key, the one that the halving meets
  // first: which one that is depends on how many entries there are and where the equal ones lie.
  int32_t findEntryIndex(const char* key) const;

  // The entry's first value. Good until the document is parsed again or dies.
  // REQUIRES: index comes from findEntryIndex and is not negative.
  const char* entryValue(int32_t index) const;

  // The typed readers answer whether they wrote target. Where the key is missing or its value is no
  // number they leave target alone, and so a caller states its default by presetting it. Numbers
  // out of range are clamped and count as good (config/number_text.h).
  bool getString(const std::string& key, std::string& target) const;
  bool getInt(const char* key, int32_t& target) const;
  bool getFloat(const char* key, float& target) const;
};

// The parsed form of one text.
//
// The grammar knows sections, keys, comments and values with commas. It never reports an error:
// what does not fit is dropped, and reading goes on at the next line. What each byte means where
// stands in config/config_parser.cpp.
class ConfigDocument {
 public:
  constexpr ConfigDocument()
      : sectionCount(0), sections(nullptr), pool(nullptr), defaultSection(-1) {}
  ~ConfigDocument();
  ConfigDocument(const ConfigDocument&) = delete;
  ConfigDocument& operator=(const ConfigDocument&) = delete;

  // Replaces the content by that of text, which ends at its NUL; length, without the NUL, only
  // sizes the pool. Always true. One parse at a time in the whole process: the parser's scratch is
  // shared. Throws std::bad_alloc; what was read is then lost, and the next parse starts anew.
  bool parse(const char* text, uint32_t length);

  // Frees everything and goes back to no sections. Does nothing unless there are sections, their
  // array and a pool. defaultSection stays.
  void clear();

  // Index into sections, or -1; see ConfigSection::findEntryIndex for repeated names.
  int32_t findSectionIndex(const char* name) const;

  // The section, or null. Good until the next parse.
  const ConfigSection* findSection(const char* name) const;

  uint32_t sectionCount;     // at least 1 after a parse: "[DEFAULT]" is always there
  ConfigSection** sections;  // exactly sectionCount pointers, rising by name, owned
  ConfigPool* pool;          // owned
  int32_t defaultSection;    // what an empty name finds: always -1, nothing
};

}  // namespace facefeature

#endif

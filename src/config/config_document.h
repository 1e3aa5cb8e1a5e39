// A parsed net text: sections and entries in arrays sorted by name.
#ifndef FACEFEATURE_CONFIG_CONFIG_DOCUMENT_H
#define FACEFEATURE_CONFIG_CONFIG_DOCUMENT_H

#include <cstdint>
#include <string>

#include "config/config_pool.h"

namespace facefeature {

// One section. Each entry is one byte string in the pool: the key, a NUL, the first value, a NUL,
// any further values each followed by a NUL, and one more NUL. `channels=3` is the eight bytes of
// the key, a NUL, the digit, a NUL, a NUL.
struct ConfigSection {
  const char* name;  // in the pool, without brackets; only "[DEFAULT]" has them in its name
  uint32_t entryCount;
  const char** entries;  // exactly entryCount pointers into the pool, in ascending order of key;
                         // owned by the document; never null after a parse, even without entries
  ConfigPool* pool;      // the document's
  int32_t defaultEntry;  // the result for an empty key: always -1, not found

  // Index into entries, or -1. If several entries have the key, this is the first one that the
  // binary search probes, which depends on the number of entries and the positions of the equal
  // ones.
  int32_t findEntryIndex(const char* key) const;

  // The entry's first value. Valid until the document is parsed again or destroyed. REQUIRES: index
  // comes from findEntryIndex and is not negative.
  const char* entryValue(int32_t index) const;

  // The typed readers return whether they wrote target. If the key is missing or its value is not a
  // number, they leave target unchanged, so a caller sets its default beforehand. Numbers out of
  // range are clamped and are treated as valid (config/number_text.h).
  bool getString(const std::string& key, std::string& target) const;
  bool getInt(const char* key, int32_t& target) const;
  bool getFloat(const char* key, float& target) const;
};

// The parsed form of one text.
//
// The grammar has sections, keys, comments and values separated by commas. Parsing never reports an
// error: it drops what does not fit and continues at the next line. config/config_parser.cpp
// documents the meaning of each byte in each context.
class ConfigDocument {
 public:
  constexpr ConfigDocument()
      : sectionCount(0), sections(nullptr), pool(nullptr), defaultSection(-1) {}
  ~ConfigDocument();
  ConfigDocument(const ConfigDocument&) = delete;
  ConfigDocument& operator=(const ConfigDocument&) = delete;

  // Replaces the content with that of text, which ends at its NUL. length excludes the NUL and only
  // sizes the pool. Always returns true. Only one parse at a time in the whole process: the
  // parser's scratch data is shared. Throws std::bad_alloc; the content is then lost, and the next
  // parse starts afresh.
  bool parse(const char* text, uint32_t length);

  // Frees everything and returns to no sections. Does nothing unless there are sections, their
  // array and a pool. defaultSection is unchanged.
  void clear();

  // Index into sections, or -1; see ConfigSection::findEntryIndex for repeated names.
  int32_t findSectionIndex(const char* name) const;

  // The section, or null. Valid until the next parse.
  const ConfigSection* findSection(const char* name) const;

  uint32_t sectionCount;     // at least 1 after a parse: "[DEFAULT]" always exists
  ConfigSection** sections;  // exactly sectionCount pointers, in ascending order of name, owned
  ConfigPool* pool;          // owned
  int32_t defaultSection;    // the result for an empty name: always -1, not found
};

}  // namespace facefeature

#endif

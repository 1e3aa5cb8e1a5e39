// Compares a parsed document with the oracle's reading of the same text, and generates texts that
// are hard to parse.
#ifndef FACEFEATURE_TESTS_SUPPORT_CONFIG_CHECKS_H
#define FACEFEATURE_TESTS_SUPPORT_CONFIG_CHECKS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "config/config_document.h"
#include "support/random.h"
#include "support/reference_config.h"

namespace facefeature_test {

inline void parseText(facefeature::ConfigDocument* document, const std::string& text) {
  ASSERT_TRUE(document->parse(text.c_str(), static_cast<uint32_t>(text.size())));
}

// The values after the key of an entry, up to its closing NUL.
inline std::vector<std::string> valuesOf(const char* entry) {
  std::vector<std::string> values;
  const char* cursor = entry + std::string(entry).size() + 1;
  do {
    values.emplace_back(cursor);
    cursor += values.back().size() + 1;
  } while (*cursor != '\0');
  return values;
}

// A whole document in one line: "name{key=value|value key=value}name{}". Empty values at the end of
// an entry are not shown, since only their count distinguishes them from the end.
inline std::string outline(const facefeature::ConfigDocument& document) {
  std::string text;
  for (uint32_t s = 0; s < document.sectionCount; ++s) {
    const facefeature::ConfigSection& section = *document.sections[s];
    text += section.name + std::string("{");
    for (uint32_t e = 0; e < section.entryCount; ++e) {
      text += e == 0 ? "" : " ";
      text += section.entries[e];
      std::string separator = "=";
      for (const std::string& value : valuesOf(section.entries[e])) {
        text += separator + value;
        separator = "|";
      }
    }
    text += "}";
  }
  return text;
}

inline std::string outlineOf(const std::string& text) {
  facefeature::ConfigDocument document;
  parseText(&document, text);
  return outline(document);
}

inline void expectSamePool(const reference::PoolModel& wanted, const facefeature::ConfigPool& got) {
  ASSERT_EQ(wanted.blocks.size(), got.blockCount);
  EXPECT_EQ(wanted.currentBlock, got.currentBlock);
  EXPECT_EQ(wanted.blockSize, got.blockSize);
  for (uint32_t i = 0; i < got.blockCount; ++i) {
    SCOPED_TRACE("block " + std::to_string(i));
    EXPECT_EQ(wanted.blocks[i].capacity, got.blocks[i]->capacity);
    EXPECT_EQ(wanted.blocks[i].used, got.blocks[i]->used);
    EXPECT_EQ(wanted.blocks[i].allocations, got.blocks[i]->allocations);
    EXPECT_EQ(wanted.blocks[i].releases, got.blocks[i]->releases);
  }
}

// All observable state of a document: names and entries with all their bytes and in order, counts,
// defaults, and the pool with the offsets of all strings.
inline void expectSameDocument(const reference::ConfigContent& wanted, uint32_t textLength,
                               const facefeature::ConfigDocument& got) {
  EXPECT_EQ(-1, got.defaultSection);
  ASSERT_NE(nullptr, got.pool);
  expectSamePool(reference::poolAfterParse(wanted, textLength), *got.pool);
  if (::testing::Test::HasFatalFailure()) return;

  std::vector<std::pair<const char*, size_t>> strings;  // offset and length of each
  ASSERT_EQ(wanted.sections.size(), got.sectionCount);
  for (uint32_t s = 0; s < got.sectionCount; ++s) {
    const reference::ConfigSection& wantedSection = wanted.sections[s];
    const facefeature::ConfigSection& section = *got.sections[s];
    SCOPED_TRACE("section " + std::to_string(s));
    ASSERT_EQ(wantedSection.name, section.name);
    EXPECT_EQ(got.pool, section.pool);
    EXPECT_EQ(-1, section.defaultEntry);
    EXPECT_NE(nullptr, section.entries);
    strings.emplace_back(section.name, wantedSection.name.size() + 1);
    ASSERT_EQ(wantedSection.entries.size(), section.entryCount);
    for (uint32_t e = 0; e < section.entryCount; ++e) {
      const std::string stored = wantedSection.entries[e].storedText();
      ASSERT_EQ(stored, std::string(section.entries[e], stored.size())) << "entry " << e;
      EXPECT_EQ(section.entries[e] + wantedSection.entries[e].key.size() + 1,
                section.entryValue(static_cast<int32_t>(e)));
      strings.emplace_back(section.entries[e], stored.size());
    }
  }

  reference::PoolModel model(textLength);
  std::vector<std::pair<const char*, size_t>> wantedStrings;
  for (const uint32_t size : wanted.pieces) {
    const reference::PoolModel::Position position = model.allocate(size);
    wantedStrings.emplace_back(got.pool->blocks[position.block]->memory + position.offset, size);
  }
  std::sort(strings.begin(), strings.end());
  std::sort(wantedStrings.begin(), wantedStrings.end());
  EXPECT_TRUE(wantedStrings == strings) << "strings stand at other places of the pool";
}

// Characters with a meaning in the grammar, in any order.
inline std::string randomNoise(Random* random, int32_t length) {
  static const std::string kAlphabet =
      "[[[]]]===;,,  \t\r\n\n\n\n\nabcABC019_-.\x01\x7f\x80\xc3\xa4\xff";
  std::string text;
  for (int32_t i = 0; i < length; ++i) {
    text += kAlphabet[static_cast<size_t>(
        random->integer(0, static_cast<int32_t>(kAlphabet.size()) - 1))];
  }
  return text;
}

// A name of a few letters, so that names repeat and are prefixes of each other; occasionally one
// that is longer than every buffer.
inline std::string randomName(Random* random) {
  static const std::string kLetters = "aaabbcA[ \t\x80\xff,]";
  const int32_t length = random->chance(4) ? random->integer(50, 300) : random->integer(1, 3);
  std::string name;
  for (int32_t i = 0; i < length; ++i) {
    name += kLetters[static_cast<size_t>(
        random->integer(0, random->chance(90) ? 9 : static_cast<int32_t>(kLetters.size()) - 1))];
  }
  return name;
}

// Lines that are mostly well formed: section heads, entries, comments, and some noise.
inline std::string randomLines(Random* random, int32_t lines, int32_t headPercent) {
  static const char* const kEnds[] = {"\n", "\n", "\r\n", "\r", "\n\n", " \n\t\n", ";\n"};
  std::string text;
  for (int32_t i = 0; i < lines; ++i) {
    if (random->chance(headPercent)) {
      text += "[" + (random->chance(5) ? "" : randomName(random)) + "]";
    } else {
      text += randomName(random) + "=" + randomName(random);
    }
    if (random->chance(10)) text += randomNoise(random, random->integer(1, 8));
    text += kEnds[random->integer(0, 6)];
  }
  return text;
}

}  // namespace facefeature_test

#endif

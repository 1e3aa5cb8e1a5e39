#include "config/config_document.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/config_checks.h"
#include "support/reference_config.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConfigDocument;
using facefeature::ConfigPool;
using facefeature::ConfigSection;

TEST(ConfigDocument, FreshDocumentHasNothing) {
  const ConfigDocument document;
  EXPECT_EQ(0u, document.sectionCount);
  EXPECT_EQ(nullptr, document.sections);
  EXPECT_EQ(nullptr, document.pool);
  EXPECT_EQ(-1, document.defaultSection);
  EXPECT_EQ(-1, document.findSectionIndex("a"));
  EXPECT_EQ(nullptr, document.findSection("a"));
  EXPECT_EQ(nullptr, document.findSection(""));
}

TEST(ConfigDocumentClear, DocumentThatWasNeverParsedStaysAsItIs) {
  ConfigDocument document;
  document.clear();
  document.clear();
  EXPECT_EQ(0u, document.sectionCount);
  EXPECT_EQ(nullptr, document.sections);
  EXPECT_EQ(nullptr, document.pool);
}

TEST(ConfigDocumentClear, NothingHappensUnlessAllThreeFieldsAreSet) {
  ConfigPool pool(0);
  ConfigSection* section = nullptr;
  for (int fields = 0; fields < 7; ++fields) {
    SCOPED_TRACE(fields);
    const uint32_t count = (fields & 1) != 0 ? 1 : 0;
    ConfigSection** const sections = (fields & 2) != 0 ? &section : nullptr;
    ConfigPool* const poolOrNone = (fields & 4) != 0 ? &pool : nullptr;
    ConfigDocument document;
    document.sectionCount = count;
    document.sections = sections;
    document.pool = poolOrNone;
    document.clear();
    EXPECT_EQ(count, document.sectionCount);
    EXPECT_EQ(sections, document.sections);
    EXPECT_EQ(poolOrNone, document.pool);
  }
}

TEST(ConfigDocumentClear, EverythingButTheDefaultSectionGoesBack) {
  ConfigDocument document;
  parseText(&document, "[a]\nb=1\n");
  document.defaultSection = 1;
  document.clear();
  EXPECT_EQ(0u, document.sectionCount);
  EXPECT_EQ(nullptr, document.sections);
  EXPECT_EQ(nullptr, document.pool);
  EXPECT_EQ(1, document.defaultSection);
}

TEST(ConfigDocumentParse, SecondTextLeavesNoTraceOfTheFirst) {
  ConfigDocument document;
  parseText(&document, "a=1\n[first]\nb=2\n[other]\nc=3\n");
  parseText(&document, "[second]\nd=4\n");
  EXPECT_EQ("[DEFAULT]{}second{d=4}", outline(document));
  EXPECT_EQ(nullptr, document.findSection("first"));
  expectSameDocument(reference::parseConfig("[second]\nd=4\n"), 13, document);
}

TEST(ConfigDocumentParse, DefaultSectionOutlivesAParse) {
  ConfigDocument document;
  document.defaultSection = 0;
  parseText(&document, "[a]\n");
  EXPECT_EQ(0, document.defaultSection);
  document.defaultSection = -1;
}

TEST(ConfigDocumentFind, EmptyNamesFindNothingWhateverTheTextHolds) {
  ConfigDocument document;
  parseText(&document, "=1\na=2\n[]\n[ ]\n[b]\n = 3\n");
  EXPECT_EQ(-1, document.findSectionIndex(""));
  EXPECT_EQ(nullptr, document.findSection(""));
  for (uint32_t i = 0; i < document.sectionCount; ++i) {
    EXPECT_EQ(-1, document.sections[i]->findEntryIndex(""));
  }
}

TEST(ConfigDocumentFind, EmptyNameReturnsTheDefaultWithoutASearch) {
  ConfigDocument document;
  parseText(&document, "[a]\nk=1\nl=2\n[b]\n");
  document.defaultSection = 1;
  EXPECT_EQ(1, document.findSectionIndex(""));
  EXPECT_EQ(document.sections[1], document.findSection(""));
  document.sections[1]->defaultEntry = 1;
  EXPECT_EQ(1, document.sections[1]->findEntryIndex(""));
  document.defaultSection = -7;
  EXPECT_EQ(-7, document.findSectionIndex(""));
  EXPECT_EQ(nullptr, document.findSection(""));
}

TEST(ConfigDocumentFind, SectionsAndEntriesAreFoundByTheirExactNames) {
  ConfigDocument document;
  parseText(&document, "z=0\n[Conv]\nsize=3\n[conv]\nsize=4\nSize=5\n");
  const ConfigSection* section = document.findSection("conv");
  ASSERT_NE(nullptr, section);
  EXPECT_EQ(document.sections[document.findSectionIndex("conv")], section);
  EXPECT_STREQ("conv", section->name);
  EXPECT_STREQ("4", section->entryValue(section->findEntryIndex("size")));
  EXPECT_STREQ("5", section->entryValue(section->findEntryIndex("Size")));
  EXPECT_EQ(-1, section->findEntryIndex("siz"));
  EXPECT_EQ(-1, section->findEntryIndex("sizes"));
  EXPECT_EQ(nullptr, document.findSection("CONV"));
  EXPECT_EQ(nullptr, document.findSection("DEFAULT"));
  const ConfigSection* beforeHeads = document.findSection("[DEFAULT]");
  ASSERT_NE(nullptr, beforeHeads);
  EXPECT_STREQ("0", beforeHeads->entryValue(beforeHeads->findEntryIndex("z")));
}

TEST(ConfigDocumentFind, RepeatedKeyFindsTheEntryThatTheProbesReachFirst) {
  ConfigDocument document;
  parseText(&document, "a=1\na=2\na=3\n");
  EXPECT_EQ("[DEFAULT]{a=3 a=2 a=1}", outline(document));
  const ConfigSection& section = *document.sections[0];
  ASSERT_EQ(1, section.findEntryIndex("a"));
  EXPECT_STREQ("2", section.entryValue(1));

  // With one more element at the front, the probe finds another of the three equal ones.
  parseText(&document, "a=1\na=2\na=3\nA=0\n");
  EXPECT_STREQ("3", document.sections[0]->entryValue(document.sections[0]->findEntryIndex("a")));
}

TEST(ConfigDocumentFind, RepeatedSectionsStayApart) {
  ConfigDocument document;
  parseText(&document, "[a]\nk=1\n[a]\nl=2\n");
  EXPECT_EQ("[DEFAULT]{}a{l=2}a{k=1}", outline(document));
  EXPECT_EQ(1, document.findSectionIndex("a"));
}

TEST(ConfigSection, EntryIsItsKeyAndItsValuesWithANulAfterEachAndOneMore) {
  ConfigDocument document;
  parseText(&document, "channels=3\nv=1,2\n");
  const ConfigSection& section = *document.sections[0];
  ASSERT_EQ(2u, section.entryCount);
  EXPECT_EQ(std::string("channels\0003\0\0", 12), std::string(section.entries[0], 12));
  EXPECT_EQ(std::string("v\0001\0002\0\0", 7), std::string(section.entries[1], 7));
  // 10 bytes of the first section's name, then the two entries.
  uint32_t used = 0;
  for (uint32_t i = 0; i < document.pool->blockCount; ++i) used += document.pool->blocks[i]->used;
  EXPECT_EQ(10u + 12u + 7u, used);
}

TEST(ConfigSection, EntriesArrayExistsEvenWithoutEntries) {
  ConfigDocument document;
  parseText(&document, "[a]\n");
  ASSERT_EQ(2u, document.sectionCount);
  EXPECT_EQ(0u, document.sections[1]->entryCount);
  EXPECT_NE(nullptr, document.sections[1]->entries);
  EXPECT_EQ(-1, document.sections[1]->findEntryIndex("a"));
}

TEST(ConfigDocumentFind, AnyNameIsFoundWhereTheProbesOfAClosedRangeFindIt) {
  SeededRandom random;
  ConfigDocument document;
  for (int run = 0; run < 400; ++run) {
    const std::string text =
        randomLines(&random, random.integer(0, 80), random.chance(50) ? 40 : 4);
    const reference::ConfigContent content = reference::parseConfig(text);
    parseText(&document, text);
    std::vector<std::string> sought = reference::namesOf(content.sections);
    for (const reference::ConfigSection& section : content.sections) {
      for (const std::string& key : reference::keysOf(section)) sought.push_back(key);
    }
    for (int i = 0; i < 5; ++i) sought.push_back(randomName(&random));
    const size_t step = sought.size() / 40 + 1;
    for (size_t n = 0; n < sought.size(); n += step) {
      const std::string& name = sought[n];
      ASSERT_EQ(reference::lookUp(reference::namesOf(content.sections), name),
                document.findSectionIndex(name.c_str()))
          << ::testing::PrintToString(name) << " in " << ::testing::PrintToString(text);
      for (uint32_t s = 0; s < document.sectionCount; ++s) {
        ASSERT_EQ(reference::lookUp(reference::keysOf(content.sections[s]), name),
                  document.sections[s]->findEntryIndex(name.c_str()))
            << ::testing::PrintToString(name) << " in " << ::testing::PrintToString(text);
      }
    }
  }
}

}  // namespace
}  // namespace facefeature_test

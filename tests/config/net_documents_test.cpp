#include "config/net_documents.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "support/config_checks.h"

namespace facefeature_test {
namespace {

using facefeature::currentDocument;
using facefeature::currentNetIndex;
using facefeature::currentSection;
using facefeature::kNetCount;
using facefeature::netDocuments;

bool allDocumentsAreEmpty() {
  for (const facefeature::ConfigDocument& document : netDocuments) {
    if (document.sectionCount != 0 || document.sections != nullptr || document.pool != nullptr ||
        document.defaultSection != -1) {
      return false;
    }
  }
  return true;
}

// Evaluated during static initialisation, whose order between files is unspecified.
const bool emptyAtLoad = allDocumentsAreEmpty();

class NetDocuments : public ::testing::Test {
 protected:
  ~NetDocuments() override {
    for (facefeature::ConfigDocument& document : netDocuments) document.clear();
    currentNetIndex = 0;
  }
};

TEST_F(NetDocuments, TwentyFiveEmptyDocumentsExistFromLoadOn) {
  EXPECT_EQ(25, kNetCount);
  EXPECT_TRUE(emptyAtLoad);
}

TEST_F(NetDocuments, CurrentDocumentIsTheOneOfTheIndex) {
  for (uint32_t i = 0; i < 25; ++i) {
    currentNetIndex = i;
    EXPECT_EQ(&netDocuments[i], &currentDocument());
  }
}

TEST_F(NetDocuments, CurrentSectionIsTheOneOfTheCurrentDocument) {
  parseText(&netDocuments[4], "[a]\nk=4\n");
  parseText(&netDocuments[5], "[a]\nk=5\n");
  currentNetIndex = 5;
  EXPECT_EQ(netDocuments[5].findSection("a"), &currentSection("a"));
  currentNetIndex = 4;
  EXPECT_EQ(netDocuments[4].findSection("a"), &currentSection("a"));
}

TEST_F(NetDocuments, SectionThatIsMissingHasNoEntries) {
  parseText(&netDocuments[4], "[a]\nk=4\n");
  currentNetIndex = 4;
  EXPECT_EQ(0u, currentSection("b").entryCount);
  EXPECT_EQ(-1, currentSection("b").findEntryIndex("k"));
  EXPECT_EQ(-1, currentSection("").findEntryIndex(""));
}

TEST_F(NetDocuments, ParsingOneLeavesTheOthersAsTheyAre) {
  parseText(&netDocuments[1], "[a]\nk=1\n");
  parseText(&netDocuments[2], "[b]\nk=2\n");
  EXPECT_EQ("[DEFAULT]{}a{k=1}", outline(netDocuments[1]));
  EXPECT_EQ("[DEFAULT]{}b{k=2}", outline(netDocuments[2]));
  EXPECT_EQ(0u, netDocuments[0].sectionCount);
}

}  // namespace
}  // namespace facefeature_test

#include "config/config_parser.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>

#include "config/config_document.h"
#include "support/config_checks.h"
#include "support/reference_config.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConfigDocument;

// One byte as each of the readers sees it.
struct Cell {
  const char* reader;
  const char* byte;
  std::string text;
  std::string wanted;
};

std::ostream& operator<<(std::ostream& out, const Cell& cell) {
  return out << ::testing::PrintToString(cell.text);
}

class ConfigGrammar : public ::testing::TestWithParam<Cell> {};

TEST_P(ConfigGrammar, ReaderHandlesTheByteByItsRule) {
  EXPECT_EQ(GetParam().wanted, outlineOf(GetParam().text));
}

std::string cellName(const ::testing::TestParamInfo<Cell>& info) {
  return std::string(info.param.reader) + "_" + info.param.byte + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, ConfigGrammar,
    ::testing::Values(Cell{"Key", "Nul", "b=1\na", "[DEFAULT]{b=1}"},
                      Cell{"Key", "Nul", std::string("a=1\nb\0c=2\nd=3\n", 14), "[DEFAULT]{a=1}"},
                      Cell{"Key", "Blank", " a b =1", "[DEFAULT]{ab=1}"},
                      Cell{"Key", "Tab", "\ta\tb\t=1", "[DEFAULT]{ab=1}"},
                      Cell{"Key", "CarriageReturn", "a\rb=1", "[DEFAULT]{b=1}"},
                      Cell{"Key", "LineFeed", "a\nb=1", "[DEFAULT]{b=1}"},
                      Cell{"Key", "LineFeed", "a\r\n\n\r\rb=1", "[DEFAULT]{b=1}"},
                      Cell{"Key", "Semicolon", "a;b=1\nc=2", "[DEFAULT]{c=2}"},
                      Cell{"Key", "Semicolon", ";[s]\nc=2", "[DEFAULT]{c=2}"},
                      Cell{"Key", "EqualsSign", "a=1", "[DEFAULT]{a=1}"},
                      Cell{"Key", "EqualsSign", "=b=1\nc=2", "[DEFAULT]{c=2}"},
                      Cell{"Key", "EqualsSign", " \t=b=1\nc=2", "[DEFAULT]{c=2}"},
                      Cell{"Key", "EqualsSign", "=[s]\nc=2", "[DEFAULT]{c=2}"},
                      Cell{"Key", "LeftBracket", "a[b=1\nc=2", "[DEFAULT]{c=2}"},
                      Cell{"Key", "LeftBracket", "a[s]\nc=2", "[DEFAULT]{}s{c=2}"},
                      Cell{"Key", "RightBracket", "a]b=1\n]=2", "[DEFAULT]{]=2 a]b=1}"},
                      Cell{"Key", "Comma", "a,b=1\n,=2", "[DEFAULT]{,=2 a,b=1}"},
                      Cell{"Key", "Other", "-1.#_'\"\\=1", "[DEFAULT]{-1.#_'\"\\=1}"},
                      Cell{"Key", "Other", "a\x01\x7f=1", "[DEFAULT]{a\x01\x7f=1}"},
                      Cell{"Key", "Other", "\x80\xa0\xff=1", "[DEFAULT]{\x80\xa0\xff=1}"},
                      Cell{"Key", "Other", "a\v\f=1", "[DEFAULT]{a\v\f=1}"}),
    cellName);

INSTANTIATE_TEST_SUITE_P(
    Values, ConfigGrammar,
    ::testing::Values(
        Cell{"Value", "Nul", "a=1", "[DEFAULT]{a=1}"},
        Cell{"Value", "Nul", "b=2\na=", "[DEFAULT]{b=2}"},
        Cell{"Value", "Nul",
             std::string("a=1\0"
                         "2\nb=3",
                         9),
             "[DEFAULT]{a=1}"},
        Cell{"Value", "Blank", "a= 1 2 \nb= ", "[DEFAULT]{a=12}"},
        Cell{"Value", "Tab", "a=\t1\t2\t\nb=\t", "[DEFAULT]{a=12}"},
        Cell{"Value", "CarriageReturn", "a=1\rb=2\r\rc=\rd=3", "[DEFAULT]{a=1 b=2 d=3}"},
        Cell{"Value", "LineFeed", "a=1\nb=2\n\nc=\nd=3", "[DEFAULT]{a=1 b=2 d=3}"},
        Cell{"Value", "LineFeed", "a=1\r\nb=2\n\r\n\rd=3", "[DEFAULT]{a=1 b=2 d=3}"},
        Cell{"Value", "Semicolon", "a=1;2\nb=;3\nc=4", "[DEFAULT]{a=1 c=4}"},
        Cell{"Value", "Semicolon", "a=1;[s]\nc=4", "[DEFAULT]{a=1 c=4}"},
        Cell{"Value", "EqualsSign", "a=b=c\nb==", "[DEFAULT]{a=b=c b==}"},
        Cell{"Value", "LeftBracket", "a=[\nb=1[2", "[DEFAULT]{a=[ b=1[2}"},
        Cell{"Value", "RightBracket", "a=]\nb=[s]\nc=1", "[DEFAULT]{a=] b=[s] c=1}"},
        Cell{"Value", "Comma", "a=1,2", "[DEFAULT]{a=1|2}"},
        Cell{"Value", "Comma", "a=1,22,333\nb=x, y,", "[DEFAULT]{a=1|22|333 b=x|y}"},
        Cell{"Value", "Other", "a=-1.#_'\"\\\x01\x7f", "[DEFAULT]{a=-1.#_'\"\\\x01\x7f}"},
        Cell{"Value", "Other", "a=\x80\xa0\xff\v\f", "[DEFAULT]{a=\x80\xa0\xff\v\f}"}),
    cellName);

INSTANTIATE_TEST_SUITE_P(
    HeadTests, ConfigGrammar,
    ::testing::Values(Cell{"HeadTest", "Nul", "a=1\n[s", "[DEFAULT]{a=1}"},
                      Cell{"HeadTest", "Nul", std::string("a=1\n[s\0]\nb=2", 12), "[DEFAULT]{a=1}"},
                      Cell{"HeadTest", "Blank", "[ s ]\na=1", "[DEFAULT]{}s{a=1}"},
                      Cell{"HeadTest", "Tab", "[\ts\t]\na=1", "[DEFAULT]{}s{a=1}"},
                      Cell{"HeadTest", "CarriageReturn", "[s\r]b=1\ra=1", "[DEFAULT]{]b=1 a=1}"},
                      Cell{"HeadTest", "LineFeed", "[s\n]b=1\na=1", "[DEFAULT]{]b=1 a=1}"},
                      Cell{"HeadTest", "LineFeed", "[s\r\n\n\ra=1", "[DEFAULT]{a=1}"},
                      Cell{"HeadTest", "Semicolon", "[s;]\na=1", "[DEFAULT]{a=1}"},
                      Cell{"HeadTest", "EqualsSign", "[s=t]\na=1", "[DEFAULT]{}s=t{a=1}"},
                      Cell{"HeadTest", "LeftBracket", "[s[t]\na=1", "[DEFAULT]{}s[t{a=1}"},
                      Cell{"HeadTest", "RightBracket", "x[s]t]=b\na=1", "[DEFAULT]{}s{a=1}"},
                      Cell{"HeadTest", "Comma", "[s,t]\na=1", "[DEFAULT]{}s,t{a=1}"},
                      Cell{"HeadTest", "Other", "[s\x80\x01]\na=1", "[DEFAULT]{}s\x80\x01{a=1}"}),
    cellName);

// After a section head that the head test accepts, the head reader can meet neither the end of the
// line nor a comment. After a head without a name it can, because no test precedes it there.
INSTANTIATE_TEST_SUITE_P(
    HeadReaders, ConfigGrammar,
    ::testing::Values(
        Cell{"HeadReader", "Nul", "[]\n[s", "[DEFAULT]{}"},
        Cell{"HeadReader", "Blank", "[]\n[ s t ]\na=1", "[DEFAULT]{}st{a=1}"},
        Cell{"HeadReader", "Tab", "[]\n[\ts\tt\t]\na=1", "[DEFAULT]{}st{a=1}"},
        Cell{"HeadReader", "CarriageReturn", "[]\r[s\r]a=1\r[t]\rb=2", "[DEFAULT]{}t{b=2}"},
        Cell{"HeadReader", "LineFeed", "[]\n[s\n]a=1\n[t]\nb=2", "[DEFAULT]{}t{b=2}"},
        Cell{"HeadReader", "Semicolon", "[]\n[s;]\na=1\n[t]\nb=2", "[DEFAULT]{}t{b=2}"},
        Cell{"HeadReader", "EqualsSign", "[]\n[s=t]\na=1", "[DEFAULT]{}s=t{a=1}"},
        Cell{"HeadReader", "LeftBracket", "[]\n[[s]\na=1", "[DEFAULT]{}[s{a=1}"},
        Cell{"HeadReader", "RightBracket", "[]\n[s]t=1\na=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadReader", "RightBracket", "[]\n[s] ; [t]\r\n\na=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadReader", "Comma", "[]\n[s,t]\na=1", "[DEFAULT]{}s,t{a=1}"},
        Cell{"HeadReader", "Other", "[]\n[\x80s\xff]\na=1", "\x80s\xff{a=1}[DEFAULT]{}"}),
    cellName);

INSTANTIATE_TEST_SUITE_P(
    HeadScanners, ConfigGrammar,
    ::testing::Values(
        Cell{"HeadScanner", "Nul", "[]\na=1\nb", "[DEFAULT]{}"},
        Cell{"HeadScanner", "Blank", "[]\n  [s]\na=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadScanner", "Tab", "[]\n\t\t[s]\na=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadScanner", "CarriageReturn", "[]\rx\r\r[s]\ra=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadScanner", "LineFeed", "[]\nx=1\n\n[s]\na=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadScanner", "Semicolon", "[]\nx;[s]\na=1\n[t]\nb=2", "[DEFAULT]{}t{b=2}"},
        Cell{"HeadScanner", "EqualsSign", "[]\nx==[s]\na=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadScanner", "LeftBracket", "[]\nx[s]\na=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadScanner", "RightBracket", "[]\n]x][s]\na=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadScanner", "Comma", "[]\n,x,[s]\na=1", "[DEFAULT]{}s{a=1}"},
        Cell{"HeadScanner", "Other", "[]\n\x80x\x01[s]\na=1", "[DEFAULT]{}s{a=1}"}),
    cellName);

TEST(ConfigParse, EmptyTextGivesTheDefaultSectionAndAPoolThatHasGrownForItsName) {
  ConfigDocument document;
  EXPECT_TRUE(document.parse("", 0));
  EXPECT_EQ("[DEFAULT]{}", outline(document));
  EXPECT_EQ(1u, document.sectionCount);
  ASSERT_EQ(2u, document.pool->blockCount);
  EXPECT_EQ(1u, document.pool->currentBlock);
  EXPECT_EQ(10u, document.pool->blockSize);
  EXPECT_EQ(1u, document.pool->blocks[0]->capacity);
  EXPECT_EQ(0u, document.pool->blocks[0]->used);
  EXPECT_EQ(10u, document.pool->blocks[1]->capacity);
  EXPECT_EQ(10u, document.pool->blocks[1]->used);
}

TEST(ConfigParse, LineWithoutAnEndIsReadLikeAnyOther) {
  EXPECT_EQ("[DEFAULT]{a=1}", outlineOf("a=1"));
  EXPECT_EQ("[DEFAULT]{}s{}", outlineOf("[s]"));
  EXPECT_EQ("[DEFAULT]{}s{a=1}", outlineOf("[s]\na=1"));
}

TEST(ConfigParse, LinesBeforeTheFirstHeaderAreInTheDefaultSection) {
  EXPECT_EQ("[DEFAULT]{a=1 b=2}s{c=3}", outlineOf("b=2\na=1\n[s]\nc=3\n"));
}

TEST(ConfigParse, WhiteSpaceIsRemovedEverywhere) {
  EXPECT_EQ("[DEFAULT]{LayerCount=13}", outlineOf(" Layer Count = 1 3 "));
}

TEST(ConfigParse, LineOfBlanksMakesNoEntry) {
  EXPECT_EQ("[DEFAULT]{a=1 b=2}", outlineOf("a=1\n  \n\t\n \r\nb=2\n"));
}

TEST(ConfigParse, CommasSplitAValueAndMayLeaveItEmpty) {
  EXPECT_EQ("[DEFAULT]{a=1|2}", outlineOf("a=1,2"));
  ConfigDocument document;
  parseText(&document, "a=,");
  ASSERT_EQ(1u, document.sections[0]->entryCount);
  EXPECT_EQ(std::string("a\0\0\0\0", 5), std::string(document.sections[0]->entries[0], 5));
  parseText(&document, "a=, ,1,");
  EXPECT_EQ(std::string("a\0\0\0001\0\0\0", 8), std::string(document.sections[0]->entries[0], 8));
  EXPECT_EQ("[DEFAULT]{}", outlineOf("a="));
}

TEST(ConfigParse, EmptyValueLeavesAnEarlierEntryOfTheKeyUntouched) {
  EXPECT_EQ("[DEFAULT]{a=1}", outlineOf("a=1\na=\na= ;2\n"));
}

TEST(ConfigParse, SignsThatEndAKeyArePlainInAValue) {
  EXPECT_EQ("[DEFAULT]{a=b=c}", outlineOf("a=b=c"));
  EXPECT_EQ("[DEFAULT]{a=[b]}", outlineOf("a=[b]"));
  EXPECT_EQ("[DEFAULT]{a=b}", outlineOf("a=b;c"));
}

TEST(ConfigParse, StrayLeftBracketDropsOnlyItsOwnLine) {
  EXPECT_EQ("[DEFAULT]{}s{a=1 c=2}", outlineOf("[s]\na=1\na[b=c\nc=2\n"));
  EXPECT_EQ("[DEFAULT]{a=1 c=2}", outlineOf("a=1\n[a\nc=2\n"));
}

TEST(ConfigParse, HeaderAfterAKeyOpensItsSectionAndTheRestOfTheLineIsLost) {
  EXPECT_EQ("[DEFAULT]{}b{d=1}s{}", outlineOf("[s]\na[b]=c\nd=1\n"));
  EXPECT_EQ("[DEFAULT]{}y{a=1}", outlineOf("x[y]z\na=1\n"));
}

TEST(ConfigParse, LinesWithoutKeyOrWithoutEqualsSignMakeNoEntry) {
  EXPECT_EQ("[DEFAULT]{}", outlineOf("=5\n;x=5\na\n"));
}

TEST(ConfigParse, HeaderLosesItsWhiteSpaceAndMayContainNoComment) {
  EXPECT_EQ("[DEFAULT]{}ab{}", outlineOf("[ a b ]"));
  EXPECT_EQ("[DEFAULT]{c=1}", outlineOf("[a;b]\nc=1\n"));
}

TEST(ConfigParse, HeaderWithoutANameDropsEverythingUpToTheNextLeftBracket) {
  EXPECT_EQ("[DEFAULT]{}s{a=1}t{d=4}", outlineOf("[s]\na=1\n[]\nb=2\n;[u]\n[t]\nd=4\n"));
  EXPECT_EQ("[DEFAULT]{}s{}t{d=4}", outlineOf("[s]\n[ \t]\nb=2\n[ ]\nc=3\n[t]\nd=4\n"));
}

TEST(ConfigParse, HeaderWithoutANameLetsABracketWithinAValueOpenASection) {
  EXPECT_EQ("[DEFAULT]{a=[b]}", outlineOf("a=[b]\n[]\nc=1"));
  EXPECT_EQ("[DEFAULT]{}b{d=1}", outlineOf("[]\na=[b]c\nd=1\n"));
}

TEST(ConfigParse, NamesAndValuesOfAnyLengthAreTaken) {
  for (const size_t length :
       {60u, 61u, 62u, 63u, 64u, 65u, 126u, 127u, 128u, 129u, 1000u, 70000u}) {
    SCOPED_TRACE(length);
    std::string name(length, 'n');
    name.back() = 'm';
    EXPECT_EQ("[DEFAULT]{}" + name + "{a=1}", outlineOf("[" + name + "]\na=1"));
    EXPECT_EQ("[DEFAULT]{" + name + "=1}", outlineOf(name + "=1"));
    EXPECT_EQ("[DEFAULT]{a=" + name + "}", outlineOf("a=" + name));
    EXPECT_EQ("[DEFAULT]{" + name + "=" + name + "|x}", outlineOf(name + "=" + name + ",x"));
    EXPECT_EQ("[DEFAULT]{c=1}", outlineOf(name + "\n" + name + "=\n[" + name + "\nc=1"));
  }
}

TEST(ConfigParse, EntryLongerThanTheBlockSizeRaisesItForAllNewBlocks) {
  const std::string text =
      "a=" + std::string(40, 'x') + "\n";  // blocks of 3 bytes, 44 for the entry
  ConfigDocument document;
  parseText(&document, text);
  EXPECT_EQ(44u, document.pool->blockSize);
  ASSERT_EQ(3u, document.pool->blockCount);
  EXPECT_EQ(3u, document.pool->blocks[0]->capacity);
  EXPECT_EQ(10u, document.pool->blocks[1]->capacity);
  EXPECT_EQ(44u, document.pool->blocks[2]->capacity);
  EXPECT_EQ(44u, document.pool->blocks[2]->used);
}

TEST(ConfigParse, LengthSizesThePoolAndNothingElse) {
  const std::string text = "a=1\n[s]\nb=2\n";
  for (const uint32_t length : {0u, 5u, 12u, 1000u}) {
    SCOPED_TRACE(length);
    ConfigDocument document;
    EXPECT_TRUE(document.parse(text.c_str(), length));
    expectSameDocument(reference::parseConfig(text), length, document);
  }
}

TEST(ConfigParse, SignedBytesSortBeforeTheEndOfAName) {
  EXPECT_EQ("\x80{}[DEFAULT]{a\xff=1 a=2 aa=3}a\x80{}a{}",
            outlineOf("aa=3\na=2\na\xff=1\n[a]\n[a\x80]\n[\x80]\n"));
}

TEST(ConfigParse, OrderOfUnequalLinesAndSectionsDoesNotMatter) {
  EXPECT_EQ(outlineOf("[s]\na=1\nb=2\n[t]\nc=3\n"), outlineOf("[t]\nc=3\n[s]\nb=2\na=1\n"));
}

TEST(ConfigParse, NothingIsReportedWhateverTheTextHolds) {
  SeededRandom random;
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  bool allTrue = true;
  for (int run = 0; run < 200; ++run) {
    const std::string text = randomNoise(&random, random.integer(0, 200));
    ConfigDocument document;
    allTrue = document.parse(text.c_str(), static_cast<uint32_t>(text.size())) && allTrue;
  }
  EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
  EXPECT_TRUE(allTrue);
}

class ConfigParseOfRandomTexts : public ::testing::Test {
 protected:
  // Parses into the same document repeatedly, so that each text also has to replace another.
  void expectAsTheOracle(const std::string& text) {
    SCOPED_TRACE(::testing::PrintToString(text));
    parseText(&document_, text);
    expectSameDocument(reference::parseConfig(text), static_cast<uint32_t>(text.size()), document_);
  }

  ConfigDocument document_;
  SeededRandom random_;
};

TEST_F(ConfigParseOfRandomTexts, NoiseIsReadAsItsLinesAre) {
  for (int run = 0; run < 6000 && !HasFailure(); ++run) {
    expectAsTheOracle(randomNoise(&random_, random_.integer(0, run % 10 == 0 ? 600 : 40)));
  }
}

TEST_F(ConfigParseOfRandomTexts, ManySectionsWithRepeatedNames) {
  for (int run = 0; run < 300 && !HasFailure(); ++run) {
    expectAsTheOracle(randomLines(&random_, random_.integer(0, 120), 50));
  }
}

TEST_F(ConfigParseOfRandomTexts, ManyEntriesWithRepeatedKeys) {
  for (int run = 0; run < 300 && !HasFailure(); ++run) {
    expectAsTheOracle(randomLines(&random_, random_.integer(0, 200), 2));
  }
}

// The lists of sections and entries grow when they are full, and insertion uses another method from
// a certain count on: every count from zero to well beyond both.
TEST_F(ConfigParseOfRandomTexts, EveryCountOfSectionsAndEntriesUpToAHundred) {
  for (int32_t count = 0; count <= 100 && !HasFailure(); ++count) {
    std::string entries;
    std::string sections;
    for (int32_t i = 0; i < count; ++i) {
      const std::string name = std::to_string(random_.integer(0, 2 * count));
      entries += "k" + name + "=" + std::to_string(i) + "\n";
      sections += "[s" + name + "]\ni=" + std::to_string(i) + "\n";
    }
    expectAsTheOracle(entries);
    expectAsTheOracle(sections);
    expectAsTheOracle(entries + sections + entries);
  }
}

TEST(ParseSections, ClearedDocumentWithItsPoolIsFilled) {
  ConfigDocument document;
  document.pool = new facefeature::ConfigPool(7);
  facefeature::parseSections("[s]\na=1", document);
  EXPECT_EQ("[DEFAULT]{}s{a=1}", outline(document));
}

}  // namespace
}  // namespace facefeature_test

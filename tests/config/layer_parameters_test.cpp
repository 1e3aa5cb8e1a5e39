#include "config/layer_parameters.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>
#include <memory>
#include <string>
#include <vector>

#include "config/config_document.h"
#include "config/net_documents.h"
#include "support/bits.h"
#include "support/config_checks.h"
#include "support/reference_config.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConfigSection;
using facefeature::currentNetIndex;
using facefeature::findLayerName;
using facefeature::getFloatList;
using facefeature::getIntList;
using facefeature::getStringList;
using facefeature::netDocuments;
using facefeature::splitList;

using Strings = std::vector<std::string>;
using Ints = std::vector<int32_t>;
using Floats = std::vector<float>;

class LayerParameters : public ::testing::Test {
 protected:
  ~LayerParameters() override {
    for (facefeature::ConfigDocument& document : netDocuments) document.clear();
    currentNetIndex = 0;
  }

  // Makes a document with one section and one entry current.
  void setValue(const std::string& value) { setText("[layer]\nkey=" + value + "\n"); }

  void setText(const std::string& text) {
    currentNetIndex = 7;
    parseText(&netDocuments[7], text);
  }

  const ConfigSection& layer() { return *netDocuments[7].findSection("layer"); }

  Ints intList(const std::string& value) {
    setValue(value);
    return *std::unique_ptr<Ints>(getIntList("layer", "key"));
  }

  Floats floatList(const std::string& value) {
    setText("[layer]\ncoeffs=" + value + "\n");
    return *std::unique_ptr<Floats>(getFloatList("layer"));
  }

  Strings stringList(const std::string& value) {
    setValue(value);
    return *std::unique_ptr<Strings>(getStringList("layer", "key"));
  }
};

TEST_F(LayerParameters, ScalarsOfMissingKeysLeaveTheirTargetsAlone) {
  setValue("5");
  std::string text = "default";
  int32_t number = -1;
  float real = 0.25f;
  EXPECT_FALSE(layer().getString("other", text));
  EXPECT_FALSE(layer().getInt("other", number));
  EXPECT_FALSE(layer().getFloat("other", real));
  EXPECT_EQ("default", text);
  EXPECT_EQ(-1, number);
  EXPECT_EQ(0.25f, real);
}

TEST_F(LayerParameters, EmptyKeyFindsNothing) {
  setText("[layer]\n=5\nkey=1\n");
  std::string text = "default";
  int32_t number = -1;
  float real = 0.25f;
  EXPECT_FALSE(layer().getString("", text));
  EXPECT_FALSE(layer().getInt("", number));
  EXPECT_FALSE(layer().getFloat("", real));
  EXPECT_EQ("default", text);
  EXPECT_EQ(-1, number);
  EXPECT_EQ(0.25f, real);
  EXPECT_TRUE(std::unique_ptr<Ints>(getIntList("layer", ""))->empty());
}

TEST_F(LayerParameters, StringIsTheFirstValueEvenIfEmpty) {
  std::string text = "default";
  setValue("max,avg");
  EXPECT_TRUE(layer().getString("key", text));
  EXPECT_EQ("max", text);
  setValue(",avg");
  EXPECT_TRUE(layer().getString("key", text));
  EXPECT_EQ("", text);
}

TEST_F(LayerParameters, IntIsReadFromTheFirstValue) {
  int32_t number = -1;
  setValue("12,13");
  EXPECT_TRUE(layer().getInt("key", number));
  EXPECT_EQ(12, number);
}

TEST_F(LayerParameters, ClampedNumbersAreAccepted) {
  int32_t number = -1;
  setValue("-2147483649");
  EXPECT_TRUE(layer().getInt("key", number));
  EXPECT_EQ(-2147483647 - 1, number);
  float real = 0.0f;
  setValue(std::string(40, '9'));
  EXPECT_TRUE(layer().getFloat("key", real));
  EXPECT_EQ(std::numeric_limits<float>::max(), real);
}

TEST_F(LayerParameters, UnreadableScalarsLeaveTheirTargetsAlone) {
  int32_t number = -1;
  float real = 0.25f;
  for (const char* value : {"abc", "+", "-x", ",5"}) {
    setValue(value);
    EXPECT_FALSE(layer().getInt("key", number));
    EXPECT_FALSE(layer().getFloat("key", real));
  }
  EXPECT_EQ(-1, number);
  EXPECT_EQ(0.25f, real);
}

TEST_F(LayerParameters, FloatIsReadByTheNumberTextRules) {
  float real = 0.0f;
  setValue("1e5");
  EXPECT_TRUE(layer().getFloat("key", real));
  EXPECT_EQ(1.0f, real);
  setValue("-.75");
  EXPECT_TRUE(layer().getFloat("key", real));
  EXPECT_EQ(-0.75f, real);
}

TEST_F(LayerParameters, ScalarAndListDisagreeAboutANumberOutOfRange) {
  setValue("2147483648");
  int32_t number = 0;
  EXPECT_TRUE(layer().getInt("key", number));
  EXPECT_EQ(2147483647, number);
  EXPECT_EQ((Ints{0}), intList("2147483648"));
  EXPECT_EQ((Ints{5, 5, 6}), intList("5_2147483648_6"));
  EXPECT_EQ((Ints{5, 5, -2147483647 - 1}), intList("5_-2147483649_-2147483648"));
}

TEST_F(LayerParameters, ScalarAndListDisagreeAboutAnExponent) {
  EXPECT_EQ((Floats{100000.0f, 0.0015f}), floatList("1e5_1.5E-3"));
}

TEST_F(LayerParameters, MissingKeyGivesAnEmptyListOfEachKind) {
  setValue("1");
  const std::unique_ptr<Ints> ints(getIntList("layer", "other"));
  const std::unique_ptr<Floats> floats(getFloatList("layer"));
  const std::unique_ptr<Strings> strings(getStringList("layer", "other"));
  ASSERT_NE(nullptr, ints);
  ASSERT_NE(nullptr, floats);
  ASSERT_NE(nullptr, strings);
  EXPECT_TRUE(ints->empty());
  EXPECT_TRUE(floats->empty());
  EXPECT_TRUE(strings->empty());
}

TEST_F(LayerParameters, MissingSectionIsTreatedAsOneWithoutEntries) {
  setValue("1");
  for (const char* name : {"other", "", "layer2", "Layer"}) {
    EXPECT_TRUE(std::unique_ptr<Ints>(getIntList(name, "key"))->empty());
    EXPECT_TRUE(std::unique_ptr<Floats>(getFloatList(name))->empty());
    EXPECT_TRUE(std::unique_ptr<Strings>(getStringList(name, "key"))->empty());
    const ConfigSection& section = facefeature::currentSection(name);
    int32_t number = -1;
    std::string text = "default";
    EXPECT_FALSE(section.getInt("key", number));
    EXPECT_FALSE(section.getString("key", text));
    EXPECT_EQ(-1, number);
    EXPECT_EQ("default", text);
  }
}

TEST_F(LayerParameters, DocumentThatWasNeverParsedHasNoSections) {
  currentNetIndex = 3;
  EXPECT_TRUE(std::unique_ptr<Ints>(getIntList("layer", "key"))->empty());
}

TEST_F(LayerParameters, ValueWithoutSeparatorGivesOneElement) {
  EXPECT_EQ((Ints{1}), intList("1"));
  EXPECT_EQ((Floats{1.5f}), floatList("1.5"));
  EXPECT_EQ((Strings{"conv1"}), stringList("conv1"));
}

TEST_F(LayerParameters, ElementsKeepTheOrderOfTheText) {
  EXPECT_EQ((Ints{1, 2, 3}), intList("1_2_3"));
  EXPECT_EQ((Ints{3, 1, 2}), intList("3_1_2"));
  EXPECT_EQ((Floats{3.5f, -1.0f, 2.0f}), floatList("3.5_-1_+2"));
  EXPECT_EQ((Strings{"local4", "pool3"}), stringList("local4_pool3"));
  EXPECT_EQ((Strings{"5-10-1", "5-10-2"}), stringList("5-10-1_5-10-2"));
}

TEST_F(LayerParameters, UnreadableTokenRepeatsTheElementBeforeIt) {
  EXPECT_EQ((Ints{1, 1, 3}), intList("1_x_3"));
  EXPECT_EQ((Ints{1, 1, 1, 3}), intList("1___3"));
  EXPECT_EQ((Floats{1.5f, 1.5f, 3.0f}), floatList("1.5_x_3"));
  EXPECT_EQ((Floats{1.5f, 1.5f, 3.0f}), floatList("1.5_1e99_3"));
  EXPECT_EQ((Floats{1.5f, 1.5f}), floatList("1.5_2e"));
}

TEST_F(LayerParameters, UnreadableFirstTokenIsZero) {
  EXPECT_EQ((Ints{0, 2}), intList("x_2"));
  EXPECT_EQ((Ints{0, 2}), intList("_2"));
  EXPECT_EQ((Floats{0.0f, 2.0f}), floatList("x_2"));
  EXPECT_EQ((Floats{0.0f, 2.0f}), floatList("-1e99_2"));
}

TEST_F(LayerParameters, RestOfATokenIsIgnored) {
  EXPECT_EQ((Ints{1, -2, 0, 5}), intList("1x_-2.9_0x10_+5-3"));
  EXPECT_EQ((Floats{1.0f, -2.5f, 0.5f}), floatList("1x_-2.5.3_.5+1"));
}

TEST_F(LayerParameters, OnlyTheFirstOfSeveralValuesIsSplit) {
  EXPECT_EQ((Ints{1, 2}), intList("1_2,3"));
  EXPECT_EQ((Strings{}), stringList(",a_b"));
}

TEST_F(LayerParameters, ReadersFollowTheIndexOfTheCurrentNet) {
  parseText(&netDocuments[0], "[layer]\nkey=1\n");
  parseText(&netDocuments[24], "[layer]\nkey=2\n");
  currentNetIndex = 0;
  EXPECT_EQ((Ints{1}), *std::unique_ptr<Ints>(getIntList("layer", "key")));
  currentNetIndex = 24;
  EXPECT_EQ((Ints{2}), *std::unique_ptr<Ints>(getIntList("layer", "key")));
}

TEST_F(LayerParameters, ListBelongsToTheCallerAndOutlivesTheDocument) {
  setValue("a_b");
  const std::unique_ptr<Strings> list(getStringList("layer", "key"));
  const std::unique_ptr<Strings> again(getStringList("layer", "key"));
  EXPECT_NE(list.get(), again.get());
  netDocuments[7].clear();
  EXPECT_EQ((Strings{"a", "b"}), *list);
}

TEST_F(LayerParameters, AnyValueIsReadAsTheOracleReadsIt) {
  SeededRandom random;
  static const std::string kAlphabet = "00123456789__..--++eEeExXinfab,\v\f[=]\x80\xff";
  for (int run = 0; run < 8000; ++run) {
    std::string value;
    for (int32_t length = random.integer(1, 14); length > 0; --length) {
      value += kAlphabet[static_cast<size_t>(
          random.integer(0, random.chance(70) ? 19 : static_cast<int32_t>(kAlphabet.size()) - 1))];
    }
    SCOPED_TRACE(::testing::PrintToString(value));
    const std::string first = value.substr(0, value.find(','));
    ASSERT_EQ(reference::splitList(first), stringList(value));
    ASSERT_EQ(reference::readIntList(first), intList(value));
    const Floats wanted = reference::readFloatList(first);
    const Floats got = floatList(value);
    ASSERT_EQ(wanted.size(), got.size());
    ASSERT_TRUE(sameFloats(wanted.data(), got.data(), wanted.size()));
  }
}

TEST_F(LayerParameters, LongNumbersAroundTheRangesOfTheLists) {
  SeededRandom random;
  for (int run = 0; run < 2000; ++run) {
    std::string ints = "1";
    std::string floats = "1";
    for (int token = 0; token < 4; ++token) {
      ints += "_" + std::string(random.chance(40) ? "-" : "") +
              std::to_string(int64_t{2147483646} + random.integer(-1, 4));
      floats += "_" + std::to_string(random.integer(-99999, 99999)) + "." +
                std::to_string(random.integer(0, 999999999)) + "e" +
                std::to_string(random.integer(-50, 40));
    }
    ASSERT_EQ(reference::readIntList(ints), intList(ints)) << ints;
    const Floats wanted = reference::readFloatList(floats);
    const Floats got = floatList(floats);
    ASSERT_EQ(wanted.size(), got.size()) << floats;
    ASSERT_TRUE(sameFloats(wanted.data(), got.data(), wanted.size())) << floats;
  }
}

// The locale of a German host: a decimal comma, and points between the thousands.
class HostPunctuation : public std::numpunct<char> {
 protected:
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(LayerParameters, LocaleOfTheHostIsIgnored) {
  const std::locale before =
      std::locale::global(std::locale(std::locale::classic(), new HostPunctuation));
  const Ints ints = intList("1.000_2");
  const Floats floats = floatList("1.5_2.000");
  float real = 0.0f;
  setValue("1.5");
  layer().getFloat("key", real);
  std::locale::global(before);
  EXPECT_EQ((Ints{1, 2}), ints);
  EXPECT_EQ((Floats{1.5f, 2.0f}), floats);
  EXPECT_EQ(1.5f, real);
}

TEST(SplitList, TokensEndAtASeparatorAndTheRestIsOneUnlessEmpty) {
  EXPECT_EQ((Strings{"a", "", "b"}), splitList("a__b"));
  EXPECT_EQ((Strings{"", "a"}), splitList("_a"));
  EXPECT_EQ((Strings{"a"}), splitList("a_"));
  EXPECT_EQ((Strings{}), splitList(""));
  EXPECT_EQ((Strings{""}), splitList("_"));
  EXPECT_EQ((Strings{"", ""}), splitList("__"));
}

TEST(FindLayerName, FirstOfEqualNamesIsFound) {
  EXPECT_EQ(1, findLayerName({"data", "conv1", "conv1", "fc"}, "conv1"));
  EXPECT_EQ(0, findLayerName({"data"}, "data"));
}

TEST(FindLayerName, NameThatIsNotALayerIsNotFound) {
  EXPECT_EQ(-1, findLayerName({}, "data"));
  EXPECT_EQ(-1, findLayerName({}, ""));
  EXPECT_EQ(-1, findLayerName({"data", "conv1"}, "conv"));
  EXPECT_EQ(-1, findLayerName({"data", "conv1"}, "conv12"));
  EXPECT_EQ(-1, findLayerName({"data", "conv1"}, "Data"));
}

TEST(FindLayerName, ComparesAllBytesAndTheLengths) {
  const std::string withNul("a\0b", 3);
  EXPECT_EQ(2, findLayerName({"a", std::string("a\0c", 3), withNul}, withNul));
  EXPECT_EQ(1, findLayerName({"a", ""}, ""));
}

TEST(FindLayerName, AnyListIsSearchedFromItsFirstElement) {
  SeededRandom random;
  for (int run = 0; run < 500; ++run) {
    Strings names;
    for (int32_t i = random.integer(0, 12); i > 0; --i) names.push_back(randomName(&random));
    const std::string sought =
        names.empty() || random.chance(40)
            ? randomName(&random)
            : names[static_cast<size_t>(random.integer(0, static_cast<int32_t>(names.size()) - 1))];
    ASSERT_EQ(reference::findName(names, sought), findLayerName(names, sought));
  }
}

}  // namespace
}  // namespace facefeature_test

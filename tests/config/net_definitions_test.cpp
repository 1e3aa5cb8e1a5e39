#include "config/net_definitions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "config/config_document.h"
#include "config/layer_parameters.h"
#include "config/net_documents.h"
#include "support/config_checks.h"
#include "support/reference_config.h"

namespace facefeature_test {
namespace {

using facefeature::ConfigSection;
using facefeature::currentNetIndex;
using facefeature::getStringList;
using facefeature::netDefinitions;
using facefeature::netDocuments;

using Strings = std::vector<std::string>;

class NetDefinitions : public ::testing::TestWithParam<int> {
 protected:
  NetDefinitions() {
    currentNetIndex = static_cast<uint32_t>(GetParam());
    parseText(&netDocuments[GetParam()], netDefinitions[GetParam()]);
  }
  ~NetDefinitions() override {
    netDocuments[GetParam()].clear();
    currentNetIndex = 0;
  }

  const facefeature::ConfigDocument& document() { return netDocuments[GetParam()]; }
  const reference::NetRow& row() { return reference::netRows()[static_cast<size_t>(GetParam())]; }

  Strings list(const std::string& section, const std::string& key) {
    return *std::unique_ptr<Strings>(getStringList(section, key));
  }

  int32_t number(const char* section, const char* key) {
    int32_t value = -12345;
    EXPECT_TRUE(document().findSection(section)->getInt(key, value)) << section << " " << key;
    return value;
  }
};

INSTANTIATE_TEST_SUITE_P(AllNets, NetDefinitions, ::testing::Range(0, 25));

TEST_P(NetDefinitions, TextIsTheTemplateByteForByte) {
  const std::string wanted = reference::netText(GetParam());
  const std::string got = netDefinitions[GetParam()];
  const auto unequal = std::mismatch(wanted.begin(), wanted.end(), got.begin(), got.end());
  EXPECT_EQ(wanted, got) << "first difference at byte " << unequal.first - wanted.begin();
}

TEST_P(NetDefinitions, TextHasItsLength) {
  EXPECT_EQ(row().textLength, std::strlen(netDefinitions[GetParam()]));
}

TEST_P(NetDefinitions, TextIsAsciiWithLineFeedsAlone) {
  for (const char* c = netDefinitions[GetParam()]; *c != '\0'; ++c) {
    ASSERT_TRUE(*c == '\n' || (*c >= 32 && *c < 127)) << c;
    ASSERT_EQ(nullptr, std::strchr("\r\t;,", *c)) << c;
  }
}

TEST_P(NetDefinitions, TextHasItsBlanks) {
  const std::string text = netDefinitions[GetParam()];
  EXPECT_EQ(0u, text.find("[Net] \n LayerCount=13 \n LayerNames=data_"));
  EXPECT_NE(std::string::npos, text.find(" \n  \n [data] \n type=data \n"));
  ASSERT_GT(text.size(), 3u);
  EXPECT_EQ(" \n ", text.substr(text.size() - 3));
}

TEST_P(NetDefinitions, FifteenSectionsAreSortedByName) {
  const Strings wanted = {"Net",     "[DEFAULT]", "conv1",  "conv2",   "data",
                          "fc",      "local3",    "local4", "neuron1", "neuron2",
                          "neuron3", "neuron4",   "pool1",  "pool2",   "pool3"};
  Strings got;
  for (uint32_t i = 0; i < document().sectionCount; ++i) {
    got.push_back(document().sections[i]->name);
  }
  EXPECT_EQ(wanted, got);
  EXPECT_EQ(0u, document().findSection("[DEFAULT]")->entryCount);
}

TEST_P(NetDefinitions, LayerCountAndNamesAgree) {
  EXPECT_EQ(13, number("Net", "LayerCount"));
  const Strings wanted = {"data",   "conv1",   "neuron1", "pool1",  "conv2",   "neuron2", "pool2",
                          "local3", "neuron3", "pool3",   "local4", "neuron4", "fc"};
  EXPECT_EQ(wanted, list("Net", "LayerNames"));
}

TEST_P(NetDefinitions, FullyConnectedLayerHasFiveSortedEntries) {
  const ConfigSection& section = *document().findSection("fc");
  Strings keys(section.entries, section.entries + section.entryCount);
  EXPECT_EQ((Strings{"biases", "inputs", "outputs", "type", "weights"}), keys);
}

TEST_P(NetDefinitions, FullyConnectedLayerReadsLocal4ThenPool3) {
  EXPECT_EQ((Strings{"local4", "pool3"}), list("fc", "inputs"));
  const std::string stem = "5-" + std::to_string(GetParam() + 1);
  EXPECT_EQ((Strings{stem + "-1", stem + "-2"}), list("fc", "weights"));
  EXPECT_EQ((Strings{stem + "-3"}), list("fc", "biases"));
  EXPECT_EQ(160, number("fc", "outputs"));
}

TEST_P(NetDefinitions, DataLayerHasNoInputsAndTakesTheMatrixOfItsNet) {
  EXPECT_EQ(-1, document().findSection("data")->findEntryIndex("inputs"));
  EXPECT_TRUE(list("data", "inputs").empty());
  EXPECT_EQ(GetParam(), number("data", "dataIdx"));
  EXPECT_EQ(0, number("data", "actsTarget"));
}

TEST_P(NetDefinitions, InputSizeAndChannelsAreThoseOfThePatch) {
  EXPECT_EQ(row().channels, number("conv1", "channels"));
  EXPECT_EQ(row().size, number("conv1", "imgSize"));
}

TEST_P(NetDefinitions, SizesFollowFromOneAnother) {
  int32_t size = row().size;
  int32_t channels = row().channels;
  const char* const convolutions[] = {"conv1", "conv2", "local3", "local4"};
  for (int stage = 0; stage < 4; ++stage) {
    const char* conv = convolutions[stage];
    SCOPED_TRACE(conv);
    std::string type;
    EXPECT_TRUE(document().findSection(conv)->getString("type", type));
    EXPECT_EQ("conv", type);
    EXPECT_EQ(size, number(conv, "imgSize"));
    EXPECT_EQ(size * size, number(conv, "imgPixels"));
    EXPECT_EQ(channels, number(conv, "channels"));
    const int32_t filterSize = number(conv, "filterSize");
    EXPECT_EQ(filterSize * filterSize, number(conv, "filterPixels"));
    EXPECT_EQ(size - filterSize + 1, number(conv, "modulesX"));
    const std::string stem = std::to_string(stage + 1) + "-" + std::to_string(GetParam() + 1);
    EXPECT_EQ((Strings{stem + "-1"}), list(conv, "weights"));
    EXPECT_EQ((Strings{stem + "-2"}), list(conv, "biases"));
    channels = number(conv, "filters");
    size = number(conv, "modulesX") / 2;
    if (stage == 3) continue;
    const std::string pool = "pool" + std::to_string(stage + 1);
    EXPECT_EQ(size, number(pool.c_str(), "outputsX"));
    EXPECT_EQ(channels, number(pool.c_str(), "channels"));
  }
}

TEST_P(NetDefinitions, ParsedDocumentHoldsEveryLineOfTheTemplate) {
  const std::string text = netDefinitions[GetParam()];
  expectSameDocument(reference::parseConfig(text), static_cast<uint32_t>(text.size()), document());
  for (const reference::NetSection& wanted : reference::netSections(GetParam())) {
    SCOPED_TRACE(wanted.name);
    const ConfigSection* section = document().findSection(wanted.name.c_str());
    ASSERT_NE(nullptr, section);
    EXPECT_EQ(wanted.lines.size(), section->entryCount);
    for (const reference::ConfigEntry& line : wanted.lines) {
      std::string value;
      EXPECT_TRUE(section->getString(line.key, value)) << line.key;
      EXPECT_EQ(line.values[0], value) << line.key;
    }
  }
}

}  // namespace
}  // namespace facefeature_test

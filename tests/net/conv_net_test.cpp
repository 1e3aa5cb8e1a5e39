#include "net/conv_net.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/net_documents.h"
#include "net/net_fixture.h"

namespace facefeature_test {
namespace {

using facefeature::ConvNet;
using facefeature::Layer;
using facefeature::Matrix;

std::unique_ptr<ConvNet> build(const std::string& text) {
  return std::make_unique<ConvNet>(0, text.c_str());
}

std::unique_ptr<ConvNet> build(const std::vector<LayerText>& layers) {
  return build(netText(layers));
}

// A layer that sums its inputs.
LayerText sumLayer(const std::string& name, const std::string& inputs,
                   const std::string& coeffs = "1_1_1_1") {
  return {name, "type=eltsum\ninputs=" + inputs + "\ncoeffs=" + coeffs};
}

std::string netSection(const std::string& count, const std::string& names) {
  return "[Net]\nLayerCount=" + count + "\nLayerNames=" + names + "\n";
}

const char* const kThreeSums =
    "[a]\ntype=eltsum\n[b]\ntype=eltsum\ninputs=a\n[c]\ntype=eltsum\ninputs=b\n";

TEST(ConvNetAssembly, LayersAreInTheOrderOfTheKeyAndNotOfTheSections) {
  const auto net =
      build(netSection("3", "c_a_b") + "[a]\ntype=softmax\n[b]\ntype=eltsum\n[c]\ntype=eltmax\n");
  EXPECT_EQ((std::vector<std::string>{"c", "a", "b"}), namesOf(net->layers));
  EXPECT_TRUE(net->dataLayers.empty());
}

TEST(ConvNetAssembly, InputsKeepTheirOrderAndOutputsAreInAscendingOrderOfPosition) {
  // Sections, inputs and names are each in a different order.
  const auto net = build(netSection("5", "d_p_q_x_y") +
                         "[y]\ntype=eltsum\ninputs=q_d_p\n[x]\ntype=eltsum\ninputs=q_p\n" +
                         "[q]\ntype=eltsum\ninputs=d\n[p]\ntype=eltsum\ninputs=d\n" +
                         "[d]\ntype=data\nactsTarget=0\n");
  EXPECT_EQ((std::vector<std::string>{"q", "d", "p"}), namesOf(layerNamed(*net, "y")->inputLayers));
  EXPECT_EQ((std::vector<std::string>{"q", "p"}), namesOf(layerNamed(*net, "x")->inputLayers));
  EXPECT_EQ((std::vector<std::string>{"p", "q", "y"}),
            namesOf(layerNamed(*net, "d")->outputLayers));
  EXPECT_EQ((std::vector<std::string>{"x", "y"}), namesOf(layerNamed(*net, "p")->outputLayers));
  EXPECT_EQ((std::vector<std::string>{"x", "y"}), namesOf(layerNamed(*net, "q")->outputLayers));
  EXPECT_TRUE(layerNamed(*net, "x")->outputLayers.empty());
}

TEST(ConvNetAssembly, DataLayersAreAlsoInTheirOwnListInTheSameOrder) {
  const auto net = build({dataLayerText("z", 0), sumLayer("s", "z"), dataLayerText("a", 1)});
  EXPECT_EQ((std::vector<Layer*>{net->layers[0], net->layers[2]}), net->dataLayers);
}

TEST(ConvNetAssembly, LayerNamedTwiceAsAnInputIsNotifiedAboutTwice) {
  const auto net = build({dataLayerText(), sumLayer("s", "data_data", "1_2")});
  EXPECT_EQ((std::vector<std::string>{"s", "s"}), namesOf(net->layers[0]->outputLayers));
  const auto data = matrixOf(1, 2, {1, -5});
  std::vector<Matrix*> inputs = {data.get()};
  net->forward(inputs);
  EXPECT_EQ(2, net->layers[1]->receivedInputs);
  EXPECT_TRUE(holds(*net->layers[1]->getActivations(), 1, 2, {3, -15}));
}

TEST(ConvNetAssembly, OfEqualNamesTheFirstLayerIsTheInput) {
  const auto net = build(netSection("4", "d_a_a_b") +
                         "[d]\ntype=data\nactsTarget=0\n[a]\ntype=eltsum\ninputs=d\n" +
                         "[b]\ntype=eltsum\ninputs=a\n");
  ASSERT_EQ(4u, net->layers.size());
  EXPECT_EQ((std::vector<Layer*>{net->layers[1]}), net->layers[3]->inputLayers);
  EXPECT_TRUE(net->layers[2]->outputLayers.empty());
}

TEST(ConvNetAssembly, CountBelowTheNumberOfNamesBuildsTheFirstOnesOnly) {
  EXPECT_EQ((std::vector<std::string>{"a", "b"}),
            namesOf(build(netSection("2", "a_b_c") + kThreeSums)->layers));
}

TEST(ConvNetAssembly, WithoutAReadablePositiveCountThereAreNoLayers) {
  for (const std::string count : {"0", "-1", "x", ""}) {
    EXPECT_TRUE(build(netSection(count, "a_b_c") + kThreeSums)->layers.empty()) << count;
  }
  EXPECT_TRUE(build(std::string("[Net]\nLayerNames=a_b_c\n") + kThreeSums)->layers.empty());
}

TEST(ConvNetAssembly, WithoutTheSectionNetThereAreNoLayersAndARunDoesNothing) {
  for (const std::string& text : {std::string(kThreeSums), std::string()}) {
    const auto net = build(text);
    EXPECT_TRUE(net->layers.empty());
    EXPECT_TRUE(net->dataLayers.empty());
    std::vector<Matrix*> none;
    net->forward(none);
  }
}

TEST(ConvNetAssembly, CountAboveTheNumberOfNamesThrows) {
  EXPECT_THROW(build(netSection("4", "a_b_c") + kThreeSums), std::out_of_range);
  EXPECT_THROW(build(netSection("1", "") + kThreeSums), std::out_of_range);
  EXPECT_THROW(build(std::string("[Net]\nLayerCount=1\n") + kThreeSums), std::out_of_range);
  // The number is clamped and used.
  EXPECT_THROW(build(netSection("99999999999", "a_b_c") + kThreeSums), std::out_of_range);
}

TEST(ConvNetAssembly, InputThatIsNotALayerThrows) {
  EXPECT_THROW(build({dataLayerText(), sumLayer("s", "dat")}), std::out_of_range);
  EXPECT_THROW(build({dataLayerText(), sumLayer("s", "Data")}), std::out_of_range);
  EXPECT_THROW(build({dataLayerText(), sumLayer("s", "data__data")}), std::out_of_range);
  EXPECT_THROW(build({dataLayerText(), sumLayer("s", "Net")}), std::out_of_range);
}

TEST(ConvNetAssembly, InputThatIsALaterLayerThrows) {
  EXPECT_THROW(build({sumLayer("s", "data"), dataLayerText()}), std::out_of_range);
}

TEST(ConvNetAssembly, LayerThatNamesItselfIsBuiltAndNeverRuns) {
  const auto net = build({dataLayerText(), sumLayer("s", "data_s")});
  EXPECT_EQ((std::vector<Layer*>{net->layers[1]}), net->layers[1]->outputLayers);
  const auto data = matrixOf(1, 1, {1});
  std::vector<Matrix*> inputs = {data.get()};
  net->forward(inputs);
  EXPECT_EQ(1, net->layers[1]->receivedInputs);
  EXPECT_EQ(0, net->layers[1]->activations->size);
}

TEST(ConvNetAssembly, OnlyTheFirstOfSeveralValuesIsUsed) {
  const auto net = build(netSection("2", "d_s,x_y") +
                         "[d]\ntype=data,fc\nactsTarget=0\n[s]\ntype=eltsum\ninputs=d,e\n");
  EXPECT_EQ((std::vector<std::string>{"d"}), namesOf(net->layers[1]->inputLayers));
}

TEST(ConvNetAssembly, BadAllocPassesThroughUnprinted) {
  clearModelFolder();
  writeMatrixFile("huge", 0x7FFFFFFF, 1, {});
  writeMatrixFile("b", 1, 1, {1});
  for (const char* typeName : {"fc", "conv", "local"}) {
    ::testing::internal::CaptureStdout();
    EXPECT_THROW(build({{"x", std::string("type=") + typeName + "\nweights=huge\nbiases=b"}}),
                 std::bad_alloc);
    EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
  }
}

TEST(ConvNetDocuments, TextGoesIntoTheDocumentOfTheNetAndStaysAfterIt) {
  const auto own = [](int32_t index) {
    const facefeature::ConfigSection* section =
        facefeature::netDocuments[index].findSection("only");
    int32_t value = 0;
    return section != nullptr && section->getInt("k", value) ? value : -1;
  };
  { const ConvNet net(7, "[only]\nk=70\n"); }
  EXPECT_EQ(7u, facefeature::currentNetIndex);
  { const ConvNet net(3, "[only]\nk=30\n"); }
  EXPECT_EQ(3u, facefeature::currentNetIndex);
  EXPECT_EQ(70, own(7));
  EXPECT_EQ(30, own(3));
  { const ConvNet net(7, "[only]\nk=71\n"); }
  EXPECT_EQ(71, own(7));
  EXPECT_EQ(30, own(3));
}

TEST(ConvNetDocuments, LayersReadTheDocumentOfTheirNet) {
  const auto text = [](const std::string& coefficient) {
    return netText({dataLayerText(), sumLayer("s", "data", coefficient)});
  };
  const ConvNet first(11, text("2").c_str());
  const ConvNet second(4, text("5").c_str());
  for (const ConvNet* net : {&first, &second}) {
    const auto data = matrixOf(1, 1, {1});
    std::vector<Matrix*> inputs = {data.get()};
    const_cast<ConvNet*>(net)->forward(inputs);
    EXPECT_TRUE(holds(*net->layers[1]->getActivations(), 1, 1, {net == &first ? 2.0f : 5.0f}));
  }
}

TEST(ConvNetForward, RunsDepthFirst) {
  const auto net = build({dataLayerText(), sumLayer("a", "data"), sumLayer("b", "data"),
                          sumLayer("c", "a"), sumLayer("d", "b_c"), sumLayer("e", "c")});
  RunWatch watch(*net);
  const auto data = matrixOf(1, 1, {1});
  std::vector<Matrix*> inputs = {data.get()};
  net->forward(inputs);
  EXPECT_EQ((Log{"data", "a", "c", "e", "b", "d"}), watch.log);
}

TEST(ConvNetForward, RunsTheDataLayersInOrderAndEachPicksItsMatrix) {
  const auto net = build({dataLayerText("x", 2), dataLayerText("y", 0),
                          sumLayer("s", "y_x", "1_10"), sumLayer("t", "x")});
  RunWatch watch(*net);
  const auto first = matrixOf(1, 1, {3});
  const auto third = matrixOf(1, 1, {4});
  std::vector<Matrix*> inputs = {first.get(), nullptr, third.get()};
  net->forward(inputs);
  EXPECT_EQ((Log{"x", "t", "y", "s"}), watch.log);
  EXPECT_TRUE(holds(*layerNamed(*net, "s")->getActivations(), 1, 1, {43}));
  EXPECT_EQ(third.get(), net->layers[0]->getActivations());
  EXPECT_EQ(first.get(), net->layers[1]->getActivations());
}

TEST(ConvNetForward, WithoutADataLayerComputesNothing) {
  const auto net = build(netSection("3", "a_b_c") + kThreeSums);
  RunWatch watch(*net);
  const auto data = matrixOf(1, 1, {1});
  std::vector<Matrix*> inputs = {data.get()};
  net->forward(inputs);
  EXPECT_TRUE(watch.log.empty());
  EXPECT_EQ(0, net->layers[2]->getActivations()->size);
}

TEST(ConvNetForward, ResetsEveryLayerIncludingUnreachedOnes) {
  const auto net = build({dataLayerText(), sumLayer("s", "data"), {"lonely", "type=softmax"}});
  for (Layer* layer : net->layers) {
    layer->receivedInputs = 77;
    layer->spareCounter = 78;
  }
  const auto data = matrixOf(1, 1, {1});
  std::vector<Matrix*> inputs = {data.get()};
  net->forward(inputs);
  EXPECT_EQ(0, layerNamed(*net, "data")->receivedInputs);
  EXPECT_EQ(1, layerNamed(*net, "s")->receivedInputs);
  EXPECT_EQ(0, layerNamed(*net, "lonely")->receivedInputs);
  for (const Layer* layer : net->layers) EXPECT_EQ(0, layer->spareCounter) << layer->name;
  EXPECT_EQ(0, layerNamed(*net, "lonely")->activations->size);
}

TEST(ConvNetForward, KeepsMatrixAndStorageOfARunOfTheSameShape) {
  const auto net =
      build({dataLayerText(), sumLayer("s", "data", "2"), {"m", "type=softmax\ninputs=s"}});
  const auto run = [&](int32_t rows, const Values& values) {
    const auto data = matrixOf(rows, static_cast<int32_t>(values.size()) / rows, values);
    std::vector<Matrix*> inputs = {data.get()};
    net->forward(inputs);
  };
  run(2, {1, 2, 3, 4});
  const Matrix* const sum = net->layers[1]->getActivations();
  const Matrix* const shares = net->layers[2]->getActivations();
  const float* const sumBuffer = sum->buffer;
  const Values sharesBefore = valuesOf(*shares);
  run(2, {5, 6, 7, 9});
  EXPECT_EQ(sum, net->layers[1]->getActivations());
  EXPECT_EQ(shares, net->layers[2]->getActivations());
  EXPECT_EQ(sumBuffer, sum->buffer);
  EXPECT_TRUE(holds(*sum, 2, 2, {10, 12, 14, 18}));
  run(3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(sum, net->layers[1]->getActivations());
  EXPECT_TRUE(holds(*sum, 3, 2, {2, 4, 6, 8, 10, 12}));
  run(2, {1, 2, 3, 4});
  EXPECT_TRUE(holds(*shares, 2, 2, sharesBefore));
}

TEST(ConvNetForward, DataLayerThatIsAnOutputThrowsItsText) {
  const auto net =
      build({dataLayerText("x"), {"y", "type=data\nactsTarget=0\ndataIdx=0\ninputs=x"}});
  const auto data = matrixOf(1, 1, {1});
  std::vector<Matrix*> inputs = {data.get()};
  EXPECT_EQ("No data given!", thrownText([&] { net->forward(inputs); }));
}

TEST(ConvNetForward, MatrixIndexBeyondTheGivenOnesThrows) {
  const auto net = build({dataLayerText("x", 1)});
  const auto data = matrixOf(1, 1, {1});
  std::vector<Matrix*> inputs = {data.get()};
  EXPECT_THROW(net->forward(inputs), std::out_of_range);
}

TEST(ConvNetForward, ActsTargetBeyondTheInputsThrows) {
  const auto net =
      build({dataLayerText(), {"s", "type=eltsum\ninputs=data\ncoeffs=1\nactsTarget=1"}});
  const auto data = matrixOf(1, 1, {1});
  std::vector<Matrix*> inputs = {data.get()};
  EXPECT_THROW(net->forward(inputs), std::out_of_range);
}

TEST(ConvNetForward, WeightsThatLackTheirFileThrowAtTheirInput) {
  clearModelFolder();
  writeMatrixFile("w2", 2, 1, {3, 4});
  writeMatrixFile("b", 1, 1, {1});
  std::unique_ptr<ConvNet> net;
  const std::string printed = standardOutputOf([&] {
    net = build({dataLayerText("x", 0),
                 dataLayerText("y", 1),
                 {"f", "type=fc\ninputs=x_y\nweights=w1_w2\nbiases=b"}});
  });
  EXPECT_EQ(failedLine("w1"), printed);
  const auto data = matrixOf(1, 2, {1, 1});
  std::vector<Matrix*> inputs = {data.get(), data.get()};
  EXPECT_THROW(net->forward(inputs), std::out_of_range);
  // The matrix of the second file has moved to the first input, which it fits.
  EXPECT_TRUE(holds(*net->layers[2]->getActivations(), 1, 1, {8}));
}

TEST(ConvNetForward, FilterBankWithoutWeightsThrows) {
  clearModelFolder();
  writeMatrixFile("b", 1, 1, {1});
  for (const std::string typeName : {"conv", "local"}) {
    const auto net = build({dataLayerText(),
                            {"f", "type=" + typeName +
                                      "\ninputs=data\nbiases=b\nchannels=1\nstride=1\npadding=0\n"
                                      "imgSize=1\nmodulesX=1"}});
    const auto data = matrixOf(1, 1, {1});
    std::vector<Matrix*> inputs = {data.get()};
    EXPECT_THROW(net->forward(inputs), std::out_of_range) << typeName;
  }
}

TEST(ConvNetForward, LayersWithoutTheirBiasesFileAddNothing) {
  clearModelFolder();
  writeMatrixFile("w", 4, 2, {1, 10, 2, 20, 3, 30, 4, 40});
  const std::string filters =
      "\ninputs=data\nweights=w\nbiases=gone\nchannels=1\nstride=1\npadding=0\nimgSize=2\n"
      "modulesX=1";
  std::unique_ptr<ConvNet> net;
  const std::string printed = standardOutputOf([&] {
    net = build({dataLayerText(),
                 {"conv", "type=conv" + filters},
                 {"local", "type=local" + filters},
                 {"fc", "type=fc\ninputs=data\nweights=w\nbiases=gone"}});
  });
  EXPECT_EQ(failedLine("gone") + failedLine("gone") + failedLine("gone"), printed);
  const auto data = matrixOf(2, 4, {1, 1, 1, 1, 1, 0, 0, 2});
  std::vector<Matrix*> inputs = {data.get()};
  net->forward(inputs);
  for (const char* name : {"conv", "local", "fc"}) {
    EXPECT_TRUE(holds(*layerNamed(*net, name)->getActivations(), 2, 2, {10, 100, 9, 90})) << name;
  }
}

TEST(ConvNetDestruction, DeletesALayerOfBothListsOnceInAscendingOrderOfAddress) {
  std::vector<const void*> wanted;
  Log log;
  Log wantedLog;
  {
    ConvNet net(0, "");
    std::vector<Layer*> made;
    for (int i = 0; i < 9; ++i) {
      made.push_back(new LoggingLayer(&net, ("l" + std::to_string(i)).c_str(), log));
    }
    // Some are in one list, some in the other, some in both, and not in the order of their
    // addresses.
    net.layers = {made[5], made[0], made[7], made[3], made[1], made[6]};
    net.dataLayers = {made[8], made[3], made[7], made[2], made[4]};
    std::sort(made.begin(), made.end(), std::less<Layer*>());
    for (const Layer* layer : made) wantedLog.push_back(layer->name + " dies");
  }
  EXPECT_EQ(wantedLog, log);
}

}  // namespace
}  // namespace facefeature_test

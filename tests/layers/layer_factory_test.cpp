#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <typeinfo>
#include <vector>

#include "layers/conv_layer.h"
#include "layers/data_layer.h"
#include "layers/eltwise_layers.h"
#include "layers/fc_layer.h"
#include "layers/neuron_layer.h"
#include "layers/pool_layer.h"
#include "layers/response_norm_layer.h"
#include "layers/softmax_layer.h"
#include "net/conv_net.h"
#include "net/net_fixture.h"

namespace facefeature_test {
namespace {

using facefeature::ConvNet;
using facefeature::Layer;

class LayerFactory : public ::testing::Test {
 protected:
  void SetUp() override {
    clearModelFolder();
    writeMatrixFile("w", 1, 1, {1});
  }

  const std::type_info& made(const char* typeName, const std::string& layerName) {
    const Layer& layer = *net.createLayer(typeName, layerName);
    return typeid(layer);
  }

  ConvNet net{0,
              "[filters]\nweights=w\nbiases=w\ntype=else\n"
              "[most]\npool=max\n"
              "[mean]\npool=avg\n"
              "[unknown]\npool=MAX\nneuron=Relu\n"
              "[relu]\nneuron=relu\nactsTarget=0\n"
              "[data]\nactsTarget=0\n"};
};

TEST_F(LayerFactory, EveryKeywordHasItsClass) {
  EXPECT_EQ(typeid(facefeature::FCLayer), made("fc", "filters"));
  EXPECT_EQ(typeid(facefeature::ConvLayer), made("conv", "filters"));
  EXPECT_EQ(typeid(facefeature::LocalUnsharedLayer), made("local", "filters"));
  EXPECT_EQ(typeid(facefeature::MaxPoolLayer), made("pool", "most"));
  EXPECT_EQ(typeid(facefeature::AvgPoolLayer), made("pool", "mean"));
  EXPECT_EQ(typeid(facefeature::ResponseNormLayer), made("rnorm", "any"));
  EXPECT_EQ(typeid(facefeature::CrossMapResponseNormLayer), made("cmrnorm", "any"));
  EXPECT_EQ(typeid(facefeature::ContrastNormLayer), made("cnorm", "any"));
  EXPECT_EQ(typeid(facefeature::SoftmaxLayer), made("softmax", "any"));
  EXPECT_EQ(typeid(facefeature::EltwiseSumLayer), made("eltsum", "any"));
  EXPECT_EQ(typeid(facefeature::EltwiseMaxLayer), made("eltmax", "any"));
  EXPECT_EQ(typeid(facefeature::NeuronLayer), made("neuron", "relu"));
  EXPECT_EQ(typeid(facefeature::DataLayer), made("data", "data"));
}

TEST_F(LayerFactory, AppendsEachLayerAndADataLayerToItsListAsWell) {
  const Layer* first = net.createLayer("softmax", "any");
  const Layer* second = net.createLayer("data", "data");
  const Layer* third = net.createLayer("neuron", "relu");
  EXPECT_EQ((std::vector<Layer*>{const_cast<Layer*>(first), const_cast<Layer*>(second),
                                 const_cast<Layer*>(third)}),
            net.layers);
  EXPECT_EQ((std::vector<Layer*>{const_cast<Layer*>(second)}), net.dataLayers);
}

TEST_F(LayerFactory, LayerGetsTheNetItsNameAndTheTypeOfItsSection) {
  const Layer* layer = net.createLayer("fc", "filters");
  EXPECT_EQ(&net, layer->owner);
  EXPECT_EQ("filters", layer->name);
  EXPECT_EQ("else", layer->type);
}

TEST_F(LayerFactory, OnlyFilterBanksTransposeTheirWeights) {
  writeMatrixFile("w", 1, 2, {1, 2});
  for (const char* typeName : {"conv", "local"}) {
    const auto* layer =
        dynamic_cast<facefeature::WeightLayer*>(net.createLayer(typeName, "filters"));
    EXPECT_TRUE(holds(*layer->weights.at(0)->matrix, 2, 1, {1, 2})) << typeName;
  }
  const auto* layer = dynamic_cast<facefeature::WeightLayer*>(net.createLayer("fc", "filters"));
  EXPECT_TRUE(holds(*layer->weights.at(0)->matrix, 1, 2, {1, 2}));
}

TEST_F(LayerFactory, UnknownTypeThrowsItsTextAndAppendsNothing) {
  for (const std::string typeName :
       {"", "Conv", "conv ", "con", "convs", "FC", "made-up", "pool1"}) {
    EXPECT_EQ("Unknown layer type " + typeName,
              thrownText([&] { net.createLayer(typeName, "filters"); }));
  }
  EXPECT_TRUE(net.layers.empty());
  EXPECT_TRUE(net.dataLayers.empty());
}

TEST_F(LayerFactory, UnknownPoolingTypeThrowsItsText) {
  EXPECT_EQ("Unknown pooling layer type MAX",
            thrownText([&] { net.createLayer("pool", "unknown"); }));
  EXPECT_EQ("Unknown pooling layer type ", thrownText([&] { net.createLayer("pool", "any"); }));
  EXPECT_TRUE(net.layers.empty());
}

TEST_F(LayerFactory, UnknownNeuronTypeThrowsItsText) {
  EXPECT_EQ("Unknown neuron type: Relu", thrownText([&] { net.createLayer("neuron", "unknown"); }));
  EXPECT_EQ("Unknown neuron type: ", thrownText([&] { net.createLayer("neuron", "any"); }));
  EXPECT_TRUE(net.layers.empty());
}

// EXPECT_EXIT checks only the standard error of the process, so standard output is redirected
// there.
void buildSayingAllOnStandardError(const std::string& text) {
  dup2(STDERR_FILENO, STDOUT_FILENO);
  const ConvNet net(0, text.c_str());
}

// Expects the constructor to print exactly this text and to end the process with status 1.
void expectFatal(const std::string& text, const std::string& printed) {
  EXPECT_EXIT(buildSayingAllOnStandardError(text), ::testing::ExitedWithCode(1),
              ::testing::Eq(printed));
}

TEST(FatalLineDeathTest, UnknownLayerType) {
  expectFatal(netText({dataLayerText(), {"x", "type=made-up"}}),
              "Error creating ConvNet: Unknown layer type made-up\n");
}

TEST(FatalLineDeathTest, LayerWithoutATypeHasNothingAfterTheLastBlank) {
  expectFatal(netText({{"x", "inputs=x"}}), "Error creating ConvNet: Unknown layer type \n");
}

TEST(FatalLineDeathTest, LayerWithoutASectionEndsInTheLineOfTheEmptyType) {
  expectFatal("[Net]\nLayerCount=1\nLayerNames=x\n",
              "Error creating ConvNet: Unknown layer type \n");
}

TEST(FatalLineDeathTest, UnknownPoolingType) {
  expectFatal(netText({{"x", "type=pool\npool=ma"}}),
              "Error creating ConvNet: Unknown pooling layer type ma\n");
}

TEST(FatalLineDeathTest, UnknownNeuronType) {
  expectFatal(netText({{"x", "type=neuron\nneuron=Relu"}}),
              "Error creating ConvNet: Unknown neuron type: Relu\n");
  expectFatal(netText({{"x", "type=neuron"}}), "Error creating ConvNet: Unknown neuron type: \n");
}

TEST(FatalLineDeathTest, FollowsTheLinesOfFilesThatCouldNotBeOpened) {
  clearModelFolder();
  expectFatal(netText({{"a", "type=fc\nweights=1_2\nbiases=3"}, {"x", "type=made-up"}}),
              failedLine("1") + failedLine("2") + failedLine("3") +
                  "Error creating ConvNet: Unknown layer type made-up\n");
}

TEST(FatalLineDeathTest, FirstUnknownTypeEndsTheConstruction) {
  expectFatal(netText({{"x", "type=one"}, {"y", "type=two"}}),
              "Error creating ConvNet: Unknown layer type one\n");
}

void buildWithHandler(void (*handler)()) {
  std::atexit(handler);
  buildSayingAllOnStandardError(netText({{"x", "type=made-up"}}));
}

TEST(FatalLineDeathTest, HandlersOfTheEndOfTheProcessAreRun) {
  EXPECT_EXIT(buildWithHandler([] { std::fputs("handler ran\n", stderr); }),
              ::testing::ExitedWithCode(1),
              ::testing::Eq("Error creating ConvNet: Unknown layer type made-up\nhandler ran\n"));
}

TEST(FatalLineDeathTest, LineIsFlushedBeforeTheEndOfTheProcess) {
  // If the handler doesn't return, unflushed output is lost.
  EXPECT_EXIT(buildWithHandler([] { _exit(1); }), ::testing::ExitedWithCode(1),
              ::testing::Eq("Error creating ConvNet: Unknown layer type made-up\n"));
}

}  // namespace
}  // namespace facefeature_test

#include "layers/neuron_layer.h"

#include <gtest/gtest.h>

#include <typeinfo>
#include <vector>

#include "net/conv_net.h"
#include "net/net_fixture.h"

namespace facefeature_test {
namespace {

using facefeature::ConvNet;
using facefeature::Matrix;
using facefeature::NeuronLayer;

class NeuronLayerTest : public ::testing::Test {
 protected:
  ConvNet net{0,
              "[relu]\ntype=neuron\nneuron=relu\nactsTarget=0\n"
              "[double]\nneuron=linear\na=2\nb=1\nactsTarget=0\n"
              "[second]\nneuron=linear\na=2\nb=1\nactsTarget=1\n"
              "[own]\nneuron=linear\na=2\nb=1\n"
              "[none]\nactsTarget=0\n"
              "[unknown]\nneuron=Relu\n"};
  std::unique_ptr<Matrix> input = matrixOf(1, 3, {-1.0f, 0.5f, 2.0f});
  std::unique_ptr<Matrix> other = matrixOf(1, 3, {5.0f, 6.0f, 7.0f});
};

TEST_F(NeuronLayerTest, MakesTheNeuronOfItsKey) {
  NeuronLayer layer(&net, "relu");
  ASSERT_NE(nullptr, layer.neuron);
  const facefeature::Neuron& neuron = *layer.neuron;
  EXPECT_EQ(typeid(facefeature::ReluNeuron), typeid(neuron));
  EXPECT_FALSE(neuron.applied);
  EXPECT_EQ(nullptr, neuron.matrix);
}

TEST_F(NeuronLayerTest, ParametersComeFromTheLayersOwnSection) {
  NeuronLayer layer(&net, "double");
  const auto* linear = dynamic_cast<facefeature::LinearNeuron*>(layer.neuron);
  ASSERT_NE(nullptr, linear);
  EXPECT_SAME_FLOAT(2.0f, linear->a);
  EXPECT_SAME_FLOAT(1.0f, linear->b);
}

TEST_F(NeuronLayerTest, UnknownOrMissingKeywordThrowsItsText) {
  EXPECT_EQ("Unknown neuron type: Relu", thrownText([&] { NeuronLayer layer(&net, "unknown"); }));
  EXPECT_EQ("Unknown neuron type: ", thrownText([&] { NeuronLayer layer(&net, "none"); }));
  EXPECT_EQ("Unknown neuron type: ", thrownText([&] { NeuronLayer layer(&net, "nowhere"); }));
}

TEST_F(NeuronLayerTest, RunRewritesItsInputWhichIsItsOutput) {
  NeuronLayer layer(&net, "relu");
  layer.inputLayers = {nullptr};
  std::vector<Matrix*> inputs = {input.get()};
  layer.runForward(inputs);
  EXPECT_EQ(input.get(), layer.getActivations());
  EXPECT_TRUE(holds(*input, 1, 3, {0.0f, 0.5f, 2.0f}));
  EXPECT_TRUE(layer.neuron->applied);
  EXPECT_EQ(input.get(), layer.neuron->matrix);
}

TEST_F(NeuronLayerTest, ApplyInputIgnoresBothArguments) {
  NeuronLayer layer(&net, "double");
  layer.inputMatrices = {input.get(), other.get()};
  layer.applyInput(1, 1.0f);
  EXPECT_TRUE(holds(*input, 1, 3, {-1.0f, 2.0f, 5.0f}));
  layer.applyInput(-4, 0.0f);
  EXPECT_TRUE(holds(*input, 1, 3, {-1.0f, 5.0f, 11.0f}));
  EXPECT_TRUE(holds(*other, 1, 3, {5.0f, 6.0f, 7.0f}));
}

TEST_F(NeuronLayerTest, EachFurtherInputTransformsTheFirstOnceMore) {
  NeuronLayer layer(&net, "double");
  layer.inputLayers = {nullptr, nullptr};
  std::vector<Matrix*> inputs = {input.get(), other.get()};
  layer.runForward(inputs);
  EXPECT_TRUE(holds(*input, 1, 3, {-1.0f, 5.0f, 11.0f}));
  EXPECT_TRUE(holds(*other, 1, 3, {5.0f, 6.0f, 7.0f}));
}

TEST_F(NeuronLayerTest, WithAnotherTargetStillRewritesTheFirstInput) {
  NeuronLayer layer(&net, "second");
  layer.inputLayers = {nullptr, nullptr};
  std::vector<Matrix*> inputs = {input.get(), other.get()};
  layer.runForward(inputs);
  EXPECT_EQ(other.get(), layer.getActivations());
  EXPECT_TRUE(holds(*input, 1, 3, {-1.0f, 5.0f, 11.0f}));
  EXPECT_TRUE(holds(*other, 1, 3, {5.0f, 6.0f, 7.0f}));
}

TEST_F(NeuronLayerTest, WithoutActsTargetItsOwnMatrixStaysEmpty) {
  NeuronLayer layer(&net, "own");
  layer.inputLayers = {nullptr};
  std::vector<Matrix*> inputs = {input.get()};
  layer.runForward(inputs);
  EXPECT_TRUE(holds(*input, 1, 3, {-1.0f, 2.0f, 5.0f}));
  EXPECT_EQ(nullptr, layer.getActivations()->buffer);
  EXPECT_EQ(0, layer.getActivations()->size);
}

}  // namespace
}  // namespace facefeature_test

#include "layers/data_layer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "net/conv_net.h"
#include "net/net_fixture.h"

namespace facefeature_test {
namespace {

using facefeature::ConvNet;
using facefeature::DataLayer;
using facefeature::Matrix;

class DataLayerTest : public ::testing::Test {
 protected:
  ConvNet net{0,
              "[data]\ntype=data\nactsTarget=0\ndataIdx=1\n"
              "[nothing]\nactsTarget=0\n"
              "[word]\nactsTarget=0\ndataIdx=one\n"
              "[below]\nactsTarget=0\ndataIdx=-1\n"
              "[own]\ndataIdx=0\n"};
  Matrix a{1, 1};
  Matrix b{1, 2};
  std::vector<Matrix*> inputs = {&a, &b};
};

TEST_F(DataLayerTest, ReadsWhichMatrixItTakes) {
  const DataLayer layer(&net, "data");
  EXPECT_EQ(1, layer.dataIdx);
  EXPECT_EQ("data", layer.type);
  EXPECT_EQ(nullptr, layer.activations);
}

TEST_F(DataLayerTest, WithoutAReadableIndexTakesTheFirstMatrix) {
  EXPECT_EQ(0, DataLayer(&net, "nothing").dataIdx);
  EXPECT_EQ(0, DataLayer(&net, "word").dataIdx);
}

TEST_F(DataLayerTest, RunTakesItsMatrixAndNotifiesTheOutputsInOrder) {
  DataLayer layer(&net, "data");
  layer.resetForward();
  Log log;
  Listener one(&net, "one hears", log);
  Listener two(&net, "two hears", log);
  layer.outputLayers = {&two, &one};
  layer.runForward(inputs);
  EXPECT_EQ(&b, layer.getActivations());
  EXPECT_EQ((Log{"two hears", "one hears"}), log);
}

TEST_F(DataLayerTest, RunLeavesInputMatricesAndCountersAlone) {
  DataLayer layer(&net, "data");
  layer.inputMatrices = {&a};
  layer.receivedInputs = 8;
  layer.spareCounter = 9;
  layer.runForward(inputs);
  EXPECT_EQ((std::vector<Matrix*>{&a}), layer.inputMatrices);
  EXPECT_EQ(8, layer.receivedInputs);
  EXPECT_EQ(9, layer.spareCounter);
}

TEST_F(DataLayerTest, RunDoesNotApplyItsActsTarget) {
  // The layer takes entry 1, although its actsTarget names input 0.
  DataLayer layer(&net, "data");
  layer.runForward(inputs);
  EXPECT_EQ(0, layer.actsTarget);
  EXPECT_EQ(&b, layer.activations);
}

TEST_F(DataLayerTest, TakesTheMatrixAgainInEachRun) {
  DataLayer layer(&net, "data");
  layer.runForward(inputs);
  std::vector<Matrix*> others = {&b, &a};
  layer.runForward(others);
  EXPECT_EQ(&a, layer.activations);
}

TEST_F(DataLayerTest, IndexBeyondTheMatricesThrowsBeforeAnyoneIsNotified) {
  DataLayer layer(&net, "data");
  Log log;
  Listener output(&net, "output hears", log);
  layer.outputLayers = {&output};
  std::vector<Matrix*> one = {&a};
  EXPECT_THROW(layer.runForward(one), std::out_of_range);
  std::vector<Matrix*> none;
  EXPECT_THROW(layer.runForward(none), std::out_of_range);
  DataLayer below(&net, "below");
  EXPECT_THROW(below.runForward(inputs), std::out_of_range);
  EXPECT_TRUE(log.empty());
}

TEST_F(DataLayerTest, BeingNotifiedThrowsAText) {
  DataLayer layer(&net, "data");
  layer.resetForward();
  EXPECT_EQ("No data given!", thrownText([&] { layer.notifyInputReady(); }));
}

TEST_F(DataLayerTest, ApplyInputDoesNothing) {
  DataLayer layer(&net, "data");
  a.buffer[0] = 3.0f;
  layer.inputMatrices = {&a};
  layer.applyInput(0, 0.0f);
  layer.applyInput(7, 1.0f);
  EXPECT_EQ(nullptr, layer.activations);
  EXPECT_SAME_FLOAT(3.0f, a.buffer[0]);
}

TEST_F(DataLayerTest, DestructionLeavesTheCallersMatrixAlone) {
  {
    DataLayer layer(&net, "data");
    layer.runForward(inputs);
  }
  b.buffer[1] = 4.0f;
  EXPECT_SAME_FLOAT(4.0f, b.buffer[1]);
}

TEST_F(DataLayerTest, WithoutActsTargetItOwnsAMatrixThatARunReplaces) {
  DataLayer layer(&net, "own");
  Matrix* const own = layer.activations;
  ASSERT_NE(nullptr, own);
  layer.runForward(inputs);
  EXPECT_EQ(&a, layer.activations);
  // The destructor would free the caller's matrix, so restore the layer's own.
  layer.activations = own;
}

}  // namespace
}  // namespace facefeature_test

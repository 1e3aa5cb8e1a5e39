#include "net/layer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "net/conv_net.h"
#include "net/net_fixture.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConvNet;
using facefeature::Layer;
using facefeature::Matrix;

// A net without layers. Its text has the sections of the layers that the tests make.
const char* const kSections =
    "[plain]\ntype=made-up\n"
    "[first]\nactsTarget=0\n"
    "[second]\nactsTarget=1\n"
    "[third]\nactsTarget=2\n"
    "[below]\nactsTarget=-3\n"
    "[word]\nactsTarget=first\n";

class LayerTest : public ::testing::Test {
 protected:
  std::unique_ptr<LoggingLayer> make(const char* name, int inputs = 0) {
    auto layer = std::make_unique<LoggingLayer>(&net, name, log);
    for (int i = 0; i < inputs; ++i) layer->inputLayers.push_back(nullptr);
    return layer;
  }

  ConvNet net{0, kSections};
  Log log;
  Matrix a{1, 1};
  Matrix b{1, 2};
  Matrix c{1, 3};
};

using LayerConstruction = LayerTest;
using LayerRun = LayerTest;
using LayerNotification = LayerTest;
using LayerDestruction = LayerTest;

TEST_F(LayerConstruction, StoresItsOwnerItsNameAndTheKeyType) {
  const auto layer = make("plain");
  EXPECT_EQ(&net, layer->owner);
  EXPECT_EQ("plain", layer->name);
  EXPECT_EQ("made-up", layer->type);
  EXPECT_TRUE(layer->inputLayers.empty());
  EXPECT_TRUE(layer->outputLayers.empty());
  EXPECT_TRUE(layer->inputMatrices.empty());
}

TEST_F(LayerConstruction, WithoutActsTargetItOwnsAnEmptyMatrix) {
  const auto layer = make("plain");
  EXPECT_EQ(-1, layer->actsTarget);
  ASSERT_NE(nullptr, layer->activations);
  const Matrix& matrix = *layer->activations;
  EXPECT_EQ(nullptr, matrix.buffer);
  EXPECT_TRUE(matrix.ownsBuffer);
  EXPECT_EQ(0, matrix.rows);
  EXPECT_EQ(0, matrix.cols);
  EXPECT_EQ(0, matrix.size);
  EXPECT_EQ(facefeature::kRowMajor, matrix.order);
}

TEST_F(LayerConstruction, WithActsTargetItHasNoMatrixBeforeItsFirstRun) {
  const auto layer = make("second");
  EXPECT_EQ(1, layer->actsTarget);
  EXPECT_EQ("", layer->type);
  EXPECT_EQ(nullptr, layer->activations);
}

TEST_F(LayerConstruction, NegativeActsTargetIsKeptAndGivesItAMatrixOfItsOwn) {
  const auto layer = make("below");
  EXPECT_EQ(-3, layer->actsTarget);
  EXPECT_NE(nullptr, layer->activations);
}

TEST_F(LayerConstruction, ActsTargetThatIsNotANumberIsTreatedAsAbsent) {
  const auto layer = make("word");
  EXPECT_EQ(-1, layer->actsTarget);
  EXPECT_NE(nullptr, layer->activations);
}

TEST_F(LayerConstruction, MissingSectionIsTreatedAsOneWithoutEntries) {
  const auto layer = make("nowhere");
  EXPECT_EQ("nowhere", layer->name);
  EXPECT_EQ("", layer->type);
  EXPECT_EQ(-1, layer->actsTarget);
  EXPECT_NE(nullptr, layer->activations);
}

TEST_F(LayerConstruction, FieldsAreInTheirOrder) {
  const auto layer = make("plain");
  const std::vector<const void*> fields = {
      &layer->owner,        &layer->inputLayers,   &layer->outputLayers, &layer->receivedInputs,
      &layer->spareCounter, &layer->inputMatrices, &layer->activations,  &layer->actsTarget,
      &layer->name,         &layer->type};
  for (size_t i = 1; i < fields.size(); ++i) EXPECT_LT(fields[i - 1], fields[i]) << "field " << i;
}

#if defined(__GNUC__) && defined(__x86_64__)
// The index of the virtual operation in its table. With this compiler, a pointer to such a member
// is the offset in bytes, plus one. A destructor takes two entries.
template <typename Member>
int64_t slotOf(Member member) {
  int64_t offset = 0;
  static_assert(sizeof member == 16, "a place and an adjustment of this");
  std::memcpy(&offset, &member, sizeof offset);
  return (offset - 1) / 8;
}

TEST(LayerSlots, AreInTheirOrderWithTheDestructorAfterTheFirst) {
  EXPECT_EQ(0, slotOf(&Layer::applyInput));
  EXPECT_EQ(3, slotOf(&Layer::runForward));
  EXPECT_EQ(4, slotOf(&Layer::notifyInputReady));
  EXPECT_EQ(5, slotOf(&Layer::resetForward));
  EXPECT_EQ(6, slotOf(&Layer::getActivations));
}
#endif

TEST_F(LayerRun, TwoInputsWithoutActsTargetOverwriteWithTheFirstAndAddTheSecond) {
  const auto layer = make("plain", 2);
  std::vector<Matrix*> inputs = {&a, &b};
  const Matrix* own = layer->activations;
  layer->runForward(inputs);
  EXPECT_EQ((Log{"plain applies 0 by 0", "plain applies 1 by 1"}), log);
  EXPECT_EQ(inputs, layer->inputMatrices);
  EXPECT_EQ(own, layer->activations);
  EXPECT_EQ(2, layer->receivedInputs);
}

TEST_F(LayerRun, OneInputAsTargetIsAppliedAloneAndIsTheOutput) {
  const auto layer = make("first", 1);
  std::vector<Matrix*> inputs = {&a};
  layer->runForward(inputs);
  EXPECT_EQ((Log{"first applies 0 by 0"}), log);
  EXPECT_EQ(&a, layer->Layer::getActivations());
}

TEST_F(LayerRun, SecondOfTwoInputsAsTargetIsAppliedFirst) {
  const auto layer = make("second", 2);
  std::vector<Matrix*> inputs = {&a, &b};
  layer->runForward(inputs);
  EXPECT_EQ((Log{"second applies 1 by 0", "second applies 0 by 1"}), log);
  EXPECT_EQ(&b, layer->activations);
}

TEST_F(LayerRun, MiddleTargetIsLeftOutOfTheAscendingRest) {
  const auto layer = make("second", 4);
  std::vector<Matrix*> inputs = {&a, &b, &c, &a};
  layer->runForward(inputs);
  EXPECT_EQ((Log{"second applies 1 by 0", "second applies 0 by 1", "second applies 2 by 1",
                 "second applies 3 by 1"}),
            log);
}

TEST_F(LayerRun, NegativeActsTargetOfAnyValueBehavesAsNone) {
  const auto layer = make("below", 2);
  std::vector<Matrix*> inputs = {&a, &b};
  layer->runForward(inputs);
  EXPECT_EQ((Log{"below applies 0 by 0", "below applies 1 by 1"}), log);
}

TEST_F(LayerRun, WithoutInputLayersAppliesNothing) {
  const auto layer = make("plain", 0);
  std::vector<Matrix*> inputs = {&a, &b};
  layer->runForward(inputs);
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(inputs, layer->inputMatrices);
}

TEST_F(LayerRun, ReplacesTheInputsAndTheTargetOfTheRunBefore) {
  const auto layer = make("second", 2);
  std::vector<Matrix*> before = {&a, &b};
  std::vector<Matrix*> now = {&b, &c};
  layer->runForward(before);
  layer->runForward(now);
  EXPECT_EQ(now, layer->inputMatrices);
  EXPECT_EQ(&c, layer->activations);
}

TEST_F(LayerRun, DoesNotTouchTheSpareCounter) {
  const auto layer = make("plain", 1);
  layer->spareCounter = 41;
  std::vector<Matrix*> inputs = {&a};
  layer->runForward(inputs);
  EXPECT_EQ(41, layer->spareCounter);
}

TEST_F(LayerRun, NotifiesTheOutputsInOrderAfterTheLastInput) {
  const auto layer = make("plain", 2);
  Listener one(&net, "one hears", log);
  Listener two(&net, "two hears", log);
  layer->outputLayers = {&two, &one, &two};
  std::vector<Matrix*> inputs = {&a, &b};
  layer->runForward(inputs);
  EXPECT_EQ(
      (Log{"plain applies 0 by 0", "plain applies 1 by 1", "two hears", "one hears", "two hears"}),
      log);
}

// The state that a subclass sees while its input is applied.
class Peeking : public Layer {
 public:
  using Layer::Layer;
  void applyInput(int32_t, float) override {
    seenInputs = inputMatrices;
    seenActivations = activations;
    seenReceived = receivedInputs;
  }
  std::vector<Matrix*> seenInputs;
  Matrix* seenActivations = nullptr;
  int32_t seenReceived = -1;
};

TEST_F(LayerRun, InputsTargetAndCounterAreSetBeforeTheFirstInputIsApplied) {
  Peeking layer(&net, "first");
  layer.resetForward();
  layer.inputLayers = {nullptr};
  std::vector<Matrix*> inputs = {&b};
  layer.runForward(inputs);
  EXPECT_EQ(inputs, layer.seenInputs);
  EXPECT_EQ(&b, layer.seenActivations);
  EXPECT_EQ(1, layer.seenReceived);
}

TEST_F(LayerRun, ActsTargetBeyondTheInputsThrowsBeforeAnythingIsApplied) {
  const auto layer = make("third", 2);
  Listener output(&net, "output hears", log);
  layer->outputLayers = {&output};
  std::vector<Matrix*> inputs = {&a, &b};
  EXPECT_THROW(layer->runForward(inputs), std::out_of_range);
  EXPECT_TRUE(log.empty());
}

TEST_F(LayerRun, AnyTargetAmongAnyNumberOfInputsFollowsTheOneOrder) {
  SeededRandom random;
  for (int round = 0; round < 200; ++round) {
    const int32_t count = random.integer(1, 7);
    const int32_t target = random.integer(-1, count - 1);
    const auto layer = make("plain", count);
    layer->actsTarget = target;
    std::unique_ptr<Matrix> own(layer->activations);
    std::vector<Matrix> matrices(static_cast<size_t>(count));
    std::vector<Matrix*> inputs;
    for (Matrix& matrix : matrices) inputs.push_back(&matrix);

    // The target comes first, followed by the remaining indices.
    std::vector<int32_t> order;
    if (target >= 0) order.push_back(target);
    for (int32_t i = 0; i < count; ++i) {
      if (i != target) order.push_back(i);
    }
    Log wanted;
    for (const int32_t index : order) {
      wanted.push_back("plain applies " + std::to_string(index) + " by " +
                       (wanted.empty() ? "0" : "1"));
    }
    log.clear();
    layer->runForward(inputs);
    EXPECT_EQ(wanted, log) << "actsTarget " << target << " of " << count;
    EXPECT_EQ(target < 0 ? own.get() : inputs[static_cast<size_t>(target)], layer->activations);
    // The layer was made without a target, so it returns its matrix to the test, which owns it.
    layer->activations = nullptr;
    layer->actsTarget = -1;
  }
}

TEST_F(LayerNotification, RunsWithTheLastMissingInputAndReadsTheMatricesOnlyThen) {
  const auto left = make("left");
  const auto right = make("right");
  const auto layer = make("plain");
  layer->inputLayers = {left.get(), right.get()};
  layer->resetForward();
  layer->notifyInputReady();
  EXPECT_EQ(1, layer->receivedInputs);
  EXPECT_TRUE(log.empty());
  EXPECT_TRUE(layer->inputMatrices.empty());
  layer->notifyInputReady();
  EXPECT_EQ(2, layer->receivedInputs);
  EXPECT_EQ((Log{"left is read", "right is read", "plain applies 0 by 0", "plain applies 1 by 1"}),
            log);
  EXPECT_EQ((std::vector<Matrix*>{left->activations, right->activations}), layer->inputMatrices);
}

TEST_F(LayerNotification, OneTooManyIsCountedAndRunsNothing) {
  const auto left = make("left");
  const auto layer = make("plain");
  layer->inputLayers = {left.get()};
  layer->resetForward();
  layer->notifyInputReady();
  log.clear();
  layer->notifyInputReady();
  EXPECT_EQ(2, layer->receivedInputs);
  EXPECT_TRUE(log.empty());
}

TEST_F(LayerNotification, OfALayerWithoutInputsNeverRunsIt) {
  const auto layer = make("plain");
  layer->resetForward();
  layer->notifyInputReady();
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(0, layer->activations->size);
}

// Overrides the run.
class OwnRun : public Layer {
 public:
  using Layer::Layer;
  void applyInput(int32_t, float) override {}
  void runForward(std::vector<Matrix*>& inputs) override { received = inputs; }
  std::vector<Matrix*> received;
};

TEST_F(LayerNotification, CallsTheRunOfTheSubclass) {
  const auto left = make("left");
  OwnRun layer(&net, "plain");
  layer.inputLayers = {left.get(), left.get()};
  layer.resetForward();
  layer.notifyInputReady();
  layer.notifyInputReady();
  EXPECT_EQ((std::vector<Matrix*>{left->activations, left->activations}), layer.received);
  EXPECT_TRUE(layer.inputMatrices.empty());
}

TEST_F(LayerNotification, TwoLevelsRunDepthFirst) {
  // source -> near and source -> far; near -> end, far -> end.
  const auto source = make("source");
  const auto near = make("near");
  const auto far = make("far");
  const auto end = make("end");
  near->inputLayers = {source.get()};
  far->inputLayers = {source.get()};
  end->inputLayers = {far.get(), near.get()};
  source->outputLayers = {near.get(), far.get()};
  near->outputLayers = {end.get()};
  far->outputLayers = {end.get()};
  for (Layer* layer : {source.get(), near.get(), far.get(), end.get()}) layer->resetForward();
  std::vector<Matrix*> none;
  source->runForward(none);
  EXPECT_EQ((Log{"source is read", "near applies 0 by 0", "source is read", "far applies 0 by 0",
                 "far is read", "near is read", "end applies 0 by 0", "end applies 1 by 1"}),
            log);
}

TEST_F(LayerNotification, ResetZeroesBothCounters) {
  const auto layer = make("plain");
  layer->receivedInputs = 5;
  layer->spareCounter = 6;
  layer->resetForward();
  EXPECT_EQ(0, layer->receivedInputs);
  EXPECT_EQ(0, layer->spareCounter);
}

TEST_F(LayerDestruction, LeavesTheMatrixOfItsTargetAndTheOtherLayersAlone) {
  a.buffer[0] = 7.0f;
  const auto neighbour = make("plain");
  {
    const auto layer = make("first", 1);
    layer->outputLayers = {neighbour.get()};
    neighbour->resetForward();
    neighbour->inputLayers = {layer.get(), layer.get()};
    std::vector<Matrix*> inputs = {&a};
    layer->runForward(inputs);
    neighbour->inputLayers.clear();
    log.clear();
  }
  EXPECT_EQ((Log{"first dies"}), log);
  EXPECT_SAME_FLOAT(7.0f, a.buffer[0]);
}

TEST_F(LayerDestruction, FreesAViewWithoutTheStorageOfOthers) {
  float storage[] = {1.0f, 2.0f};
  {
    const auto layer = make("plain");
    Matrix& view = *layer->activations;
    view.buffer = storage;
    view.ownsBuffer = false;
    view.rows = 1;
    view.cols = view.size = 2;
  }
  EXPECT_SAME_FLOAT(2.0f, storage[1]);
}

TEST_F(LayerDestruction, OfALayerThatHasLostItsMatrixFreesNothing) {
  const auto layer = make("plain");
  delete layer->activations;
  layer->activations = nullptr;
}

}  // namespace
}  // namespace facefeature_test

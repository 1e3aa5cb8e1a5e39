// The built-in nets with random trained numbers. Each layer is compared with the oracle's result
// for the layer's actual inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "config/net_documents.h"
#include "layers/conv_layer.h"
#include "layers/data_layer.h"
#include "layers/fc_layer.h"
#include "layers/neuron_layer.h"
#include "layers/pool_layer.h"
#include "net/conv_net.h"
#include "net/net_fixture.h"
#include "support/bits.h"
#include "support/reference_config.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConvNet;
using facefeature::Layer;
using facefeature::Matrix;
using facefeature::WeightLayer;

struct Stage {
  const char* convolution;
  const char* neuron;
  const char* source;  // the layer that it reads
  const char* pool;    // null after the last one
  int32_t filters;
  int32_t filterSize;
};
const Stage kStages[] = {{"conv1", "neuron1", "data", "pool1", 16, 4},
                         {"conv2", "neuron2", "pool1", "pool2", 32, 3},
                         {"local3", "neuron3", "pool2", "pool3", 48, 3},
                         {"local4", "neuron4", "pool3", nullptr, 64, 2}};
constexpr int32_t kOutputs = 160;

struct TrainedMatrix {
  int32_t rows = 0;
  int32_t cols = 0;
  Values values;
};

// The trained numbers of one net, in the layout of its files.
struct TrainedNet {
  int32_t channels = 0;
  int32_t side = 0;
  TrainedMatrix weights[4];
  TrainedMatrix biases[4];
  TrainedMatrix flatWeights[2];
  TrainedMatrix flatBiases;
};

TrainedMatrix randomFile(Random& random, const std::string& name, int32_t rows, int32_t cols,
                         float scale) {
  TrainedMatrix matrix{rows, cols, random.normals(static_cast<size_t>(rows * cols), scale)};
  writeMatrixFile(name, rows, cols, matrix.values);
  return matrix;
}

// The magnitudes of the numbers keep the activations near 1.
TrainedNet writeTrainedNet(Random& random, int32_t netIndex) {
  const reference::NetRow& row = reference::netRows()[static_cast<size_t>(netIndex)];
  const std::string net = "-" + std::to_string(row.number) + "-";
  TrainedNet trained;
  trained.channels = row.channels;
  trained.side = row.size;
  int32_t channels = row.channels;
  int32_t side = row.size;
  int32_t flat[2] = {0, 0};
  for (int stage = 0; stage < 4; ++stage) {
    const Stage& layer = kStages[stage];
    const int32_t length = channels * layer.filterSize * layer.filterSize;
    const std::string name = std::to_string(stage + 1) + net;
    trained.weights[stage] = randomFile(random, name + "1", length, layer.filters,
                                        1.4f / std::sqrt(static_cast<float>(length)));
    trained.biases[stage] = randomFile(random, name + "2", layer.filters, 1, 0.1f);
    channels = layer.filters;
    side -= layer.filterSize - 1;
    if (stage == 3) flat[0] = channels * side * side;
    side /= 2;
    if (stage == 2) flat[1] = channels * side * side;
  }
  for (int input = 0; input < 2; ++input) {
    trained.flatWeights[input] =
        randomFile(random, "5" + net + std::to_string(input + 1), flat[input], kOutputs, 0.03f);
  }
  trained.flatBiases = randomFile(random, "5" + net + "3", 1, kOutputs, 0.1f);
  return trained;
}

Values transposedValues(const TrainedMatrix& matrix) {
  Values result;
  for (int32_t c = 0; c < matrix.cols; ++c) {
    for (int32_t r = 0; r < matrix.rows; ++r) {
      result.push_back(matrix.values[static_cast<size_t>(r * matrix.cols + c)]);
    }
  }
  return result;
}

class BuiltInNet : public ::testing::Test {
 protected:
  void SetUp() override { clearModelFolder(); }

  // Builds a net with random numbers and a patch matrix that fits it.
  void build(int32_t netIndex) {
    index = netIndex;
    trained = writeTrainedNet(random, netIndex);
    const std::string printed =
        standardOutputOf([&] { net = std::make_unique<ConvNet>(netIndex); });
    ASSERT_EQ("", printed);
    const int32_t length = trained.channels * trained.side * trained.side;
    patch = matrixOf(2, length, random.normals(static_cast<size_t>(2 * length)));
  }

  // All matrices except the net's own are null.
  void forward() {
    std::vector<Matrix*> matrices(25, nullptr);
    matrices[static_cast<size_t>(index)] = patch.get();
    net->forward(matrices);
  }

  Layer& layer(const std::string& name) {
    Layer* found = layerNamed(*net, name);
    if (found == nullptr) throw std::runtime_error("no layer " + name);
    return *found;
  }
  Matrix& activations(const std::string& name) { return *layer(name).getActivations(); }

  void expectStage(int number);
  void expectEachLayerToAnswerItsInputs();

  SeededRandom random;
  int32_t index = 0;
  TrainedNet trained;
  std::unique_ptr<ConvNet> net;
  std::unique_ptr<Matrix> patch;
};

// The neuron has rewritten the convolution's matrix.
void BuiltInNet::expectStage(int number) {
  const Stage& stage = kStages[number];
  const Matrix& in = activations(stage.source);
  const Matrix& out = activations(stage.neuron);
  reference::FilterInput input;
  input.samples = valuesOf(in);
  input.sampleLength = in.cols;
  input.weights = transposedValues(trained.weights[number]);
  input.weightLength = trained.weights[number].rows;
  input.channels = number == 0 ? trained.channels : kStages[number - 1].filters;
  input.imgSize = reference::wholeSide(in.cols / input.channels);
  const int32_t modulesX = input.imgSize - stage.filterSize + 1;
  ASSERT_EQ(2, out.rows);
  ASSERT_EQ(stage.filters * modulesX * modulesX, out.cols);
  reference::Floats wanted =
      reference::convolution({input}, 2, stage.filters, modulesX, trained.biases[number].values);
  for (float& value : wanted) value = value > 0.0f ? value : 0.0f;
  EXPECT_TRUE(hasBits(wanted, out.buffer, static_cast<size_t>(out.size)));

  if (stage.pool == nullptr) return;
  reference::PoolGeometry geometry;
  geometry.channels = stage.filters;
  geometry.sizeX = 2;
  geometry.stride = 2;
  geometry.outputsX = modulesX / 2;
  EXPECT_TRUE(holds(activations(stage.pool), 2,
                    stage.filters * geometry.outputsX * geometry.outputsX,
                    reference::maximumPool(valuesOf(out), 2, geometry)));
}

void BuiltInNet::expectEachLayerToAnswerItsInputs() {
  for (int number = 0; number < 4; ++number) {
    SCOPED_TRACE(kStages[number].convolution);
    expectStage(number);
  }
  std::vector<reference::FlatInput> inputs(2);
  const char* const names[] = {"neuron4", "pool3"};
  for (size_t i = 0; i < 2; ++i) {
    inputs[i].samples = valuesOf(activations(names[i]));
    inputs[i].length = trained.flatWeights[i].rows;
    inputs[i].weights = trained.flatWeights[i].values;
  }
  const Matrix& out = activations("fc");
  ASSERT_EQ(2, out.rows);
  ASSERT_EQ(kOutputs, out.cols);
  EXPECT_TRUE(hasBits(reference::fullyConnected(inputs, 2, kOutputs, trained.flatBiases.values),
                      out.buffer, static_cast<size_t>(out.size)));
}

TEST_F(BuiltInNet, ColourNetOf55PixelsMatchesTheReferenceLayerByLayer) {
  build(0);
  forward();
  expectEachLayerToAnswerItsInputs();
}

TEST_F(BuiltInNet, ColourNetOf47PixelsMatchesTheReferenceLayerByLayer) {
  build(2);
  forward();
  expectEachLayerToAnswerItsInputs();
}

TEST_F(BuiltInNet, GrayNetOf47PixelsMatchesTheReferenceLayerByLayer) {
  build(9);
  forward();
  expectEachLayerToAnswerItsInputs();
}

TEST_F(BuiltInNet, HasThirteenLayersInTheOrderOfTheirNames) {
  build(0);
  EXPECT_EQ(
      (std::vector<std::string>{"data", "conv1", "neuron1", "pool1", "conv2", "neuron2", "pool2",
                                "local3", "neuron3", "pool3", "local4", "neuron4", "fc"}),
      namesOf(net->layers));
  for (Layer* each : net->layers) {
    const Layer& made = *each;
    EXPECT_EQ(net.get(), made.owner);
    const std::type_info& wanted = made.type == "data"     ? typeid(facefeature::DataLayer)
                                   : made.type == "conv"   ? typeid(facefeature::ConvLayer)
                                   : made.type == "neuron" ? typeid(facefeature::NeuronLayer)
                                   : made.type == "pool"   ? typeid(facefeature::MaxPoolLayer)
                                                           : typeid(facefeature::FCLayer);
    EXPECT_EQ(wanted, typeid(made)) << made.name;
  }
}

TEST_F(BuiltInNet, InputsAndOutputsFormTheGraphOfTheText) {
  build(0);
  using Names = std::vector<std::string>;
  EXPECT_EQ((Names{"local4", "pool3"}), namesOf(layer("fc").inputLayers));
  EXPECT_EQ((Names{"neuron4", "fc"}), namesOf(layer("local4").outputLayers));
  EXPECT_EQ((Names{"local4", "fc"}), namesOf(layer("pool3").outputLayers));
  EXPECT_TRUE(layer("neuron4").outputLayers.empty());
  EXPECT_TRUE(layer("data").inputLayers.empty());
  const Names chain = {"data",  "conv1",  "neuron1", "pool1", "conv2", "neuron2",
                       "pool2", "local3", "neuron3", "pool3", "local4"};
  for (size_t i = 1; i < chain.size(); ++i) {
    EXPECT_EQ(Names{chain[i - 1]}, namesOf(layer(chain[i]).inputLayers));
    if (i + 1 < chain.size()) {
      EXPECT_EQ(Names{chain[i]}, namesOf(layer(chain[i - 1]).outputLayers));
    }
  }
}

TEST_F(BuiltInNet, ItsOneDataLayerIsInBothLists) {
  build(0);
  EXPECT_EQ((std::vector<Layer*>{net->layers[0]}), net->dataLayers);
}

TEST_F(BuiltInNet, OnlyFilterBanksHoldTheirWeightsTransposed) {
  build(2);
  for (int number = 0; number < 4; ++number) {
    const auto& bank = dynamic_cast<WeightLayer&>(layer(kStages[number].convolution));
    const TrainedMatrix& file = trained.weights[number];
    ASSERT_EQ(1u, bank.weights.size());
    EXPECT_EQ(nullptr, bank.weights[0]->source);
    EXPECT_TRUE(holds(*bank.weights[0]->matrix, file.cols, file.rows, transposedValues(file)));
    EXPECT_EQ(facefeature::kRowMajor, bank.weights[0]->matrix->order);
    EXPECT_TRUE(holds(*bank.biases->matrix, file.cols, 1, trained.biases[number].values));
  }
  const auto& last = dynamic_cast<WeightLayer&>(layer("fc"));
  ASSERT_EQ(2u, last.weights.size());
  for (size_t i = 0; i < 2; ++i) {
    const TrainedMatrix& file = trained.flatWeights[i];
    EXPECT_EQ(nullptr, last.weights[i]->source);
    EXPECT_TRUE(holds(*last.weights[i]->matrix, file.rows, file.cols, file.values));
  }
  EXPECT_TRUE(holds(*last.biases->matrix, 1, kOutputs, trained.flatBiases.values));
}

TEST_F(BuiltInNet, NeuronsRewriteTheMatricesOfTheirInputs) {
  build(0);
  for (const Layer* each : net->layers) {
    const bool own = each->type == "conv" || each->type == "pool" || each->type == "fc";
    EXPECT_EQ(own, each->activations != nullptr) << each->name << " ahead of a run";
  }
  forward();
  EXPECT_EQ(patch.get(), &activations("data"));
  std::vector<Matrix*> own;
  for (Layer* each : net->layers) {
    if (each->type == "data" || each->type == "neuron") continue;
    own.push_back(each->getActivations());
  }
  EXPECT_EQ(8u, own.size());
  own.push_back(patch.get());
  std::sort(own.begin(), own.end());
  EXPECT_EQ(own.end(), std::adjacent_find(own.begin(), own.end())) << "a matrix with two owners";
  for (const Stage& stage : kStages) {
    EXPECT_EQ(&activations(stage.convolution), &activations(stage.neuron)) << stage.neuron;
  }
}

// The built-in nets run without their intermediate matrices (layers/direct_forward.h). Callers
// cannot observe this: the matrices are computed when a layer is asked for them, even after the
// input of the run has been freed.
TEST_F(BuiltInNet, ActivationsAppearAfterTheDataAreGone) {
  build(2);
  forward();
  const Values wanted = valuesOf(activations("conv2")), pooled = valuesOf(activations("pool1"));
  EXPECT_EQ(2 * 16 * 22 * 22, static_cast<int32_t>(pooled.size()));
  forward();
  patch.reset();
  EXPECT_EQ(wanted, valuesOf(activations("conv2")));
  EXPECT_EQ(pooled, valuesOf(activations("pool1")));
}

// With an extra listener in the graph, the layers run one by one. Bits and states are the same.
TEST_F(BuiltInNet, RunsOneByOneLeaveTheSameMatricesAndStates) {
  for (const int32_t netIndex : {0, 2, 9}) {
    build(netIndex);
    forward();
    std::vector<Values> wanted;
    std::vector<int32_t> received;
    std::vector<std::vector<Matrix*>> inputs;
    for (Layer* each : net->layers) {
      wanted.push_back(valuesOf(*each->getActivations()));
      received.push_back(each->receivedInputs);
      inputs.push_back(each->inputMatrices);
    }
    Log log;
    Listener listener(nullptr, "", log);
    layer("fc").outputLayers.push_back(&listener);
    forward();
    for (size_t i = 0; i < net->layers.size(); ++i) {
      Layer& each = *net->layers[i];
      EXPECT_EQ(wanted[i], valuesOf(*each.getActivations())) << each.name;
      EXPECT_EQ(received[i], each.receivedInputs) << each.name;
      EXPECT_EQ(inputs[i], each.inputMatrices) << each.name;
    }
    layer("fc").outputLayers.pop_back();
  }
}

TEST_F(BuiltInNet, AnyNumberOfRowsHasTheBitsOfEachRow) {
  build(9);
  const int32_t length = patch->cols;
  const Values all = random.normals(static_cast<size_t>(5 * length));
  patch = matrixOf(5, length, all);
  forward();
  const Values together = valuesOf(activations("fc")), pooled = valuesOf(activations("pool1"));
  for (int32_t row = 0; row < 5; ++row) {
    patch =
        matrixOf(1, length, Values(all.begin() + row * length, all.begin() + (row + 1) * length));
    forward();
    const Values alone = valuesOf(activations("fc")), first = valuesOf(activations("pool1"));
    EXPECT_EQ(Values(together.begin() + row * 160, together.begin() + (row + 1) * 160), alone);
    const auto width = static_cast<ptrdiff_t>(first.size());
    EXPECT_EQ(Values(pooled.begin() + row * width, pooled.begin() + (row + 1) * width), first);
  }
}

TEST_F(BuiltInNet, LastNeuronRunsBeforeTheLastLayerAndPool3OfBoth) {
  build(0);
  RunWatch watch(*net);
  Log received;
  // Between the two outputs of local4, and after them.
  std::vector<Layer*>& outputs = layer("local4").outputLayers;
  struct Counter : Listener {
    Counter(Layer* watched, Log& log) : Listener(nullptr, "", log), target(watched), entries(log) {}
    void notifyInputReady() override { entries.push_back(std::to_string(target->receivedInputs)); }
    Layer* target;
    Log& entries;
  };
  Counter counter(&layer("fc"), received);
  outputs.insert(outputs.begin() + 2, &counter);
  outputs.push_back(&counter);
  forward();
  EXPECT_EQ((Log{"data", "conv1", "neuron1", "pool1", "conv2", "neuron2", "pool2", "local3",
                 "neuron3", "pool3", "local4", "neuron4", "fc"}),
            watch.log);
  EXPECT_EQ((Log{"0", "1"}), received);
  EXPECT_EQ(2, layer("fc").receivedInputs);
}

TEST_F(BuiltInNet, SecondRunGivesTheSameBitsInTheSameMatrices) {
  build(2);
  const Values before = valuesOf(*patch);
  forward();
  std::vector<Matrix*> matrices;
  std::vector<const float*> buffers;
  std::vector<Values> values;
  for (Layer* each : net->layers) {
    matrices.push_back(each->getActivations());
    buffers.push_back(each->getActivations()->buffer);
    values.push_back(valuesOf(*each->getActivations()));
  }
  // A run reads nothing that an earlier run has left.
  for (Matrix* matrix : matrices) {
    if (matrix == patch.get()) continue;
    for (int32_t i = 0; i < matrix->size; ++i) {
      matrix->buffer[i] = std::numeric_limits<float>::quiet_NaN();
    }
  }
  forward();
  for (size_t i = 0; i < matrices.size(); ++i) {
    EXPECT_EQ(matrices[i], net->layers[i]->getActivations()) << net->layers[i]->name;
    EXPECT_EQ(buffers[i], matrices[i]->buffer) << net->layers[i]->name;
    EXPECT_TRUE(sameFloats(values[i].data(), matrices[i]->buffer, values[i].size()))
        << net->layers[i]->name;
  }
  EXPECT_TRUE(sameFloats(before.data(), patch->buffer, before.size())) << "patches are only read";
}

TEST_F(BuiltInNet, WithoutModelFilesIsBuiltAndPrintsALineForEachFile) {
  const std::string printed = standardOutputOf([&] { net = std::make_unique<ConvNet>(9); });
  std::string wanted;
  for (const char* name : {"1-10-1", "1-10-2", "2-10-1", "2-10-2", "3-10-1", "3-10-2", "4-10-1",
                           "4-10-2", "5-10-1", "5-10-2", "5-10-3"}) {
    wanted += failedLine(name);
  }
  EXPECT_EQ(wanted, printed);
  EXPECT_EQ(13u, net->layers.size());
  index = 9;
  patch = matrixOf(2, 47 * 47, Values(2 * 47 * 47));
  EXPECT_THROW(forward(), std::out_of_range);
}

TEST_F(BuiltInNet, LastLayerWithoutItsFirstFileUsesTheSecondInstead) {
  build(2);
  net.reset();
  removeModelFile("5-3-1");
  const std::string printed = standardOutputOf([&] { net = std::make_unique<ConvNet>(2); });
  EXPECT_EQ(failedLine("5-3-1"), printed);
  const auto& last = dynamic_cast<WeightLayer&>(layer("fc"));
  ASSERT_EQ(1u, last.weights.size());
  EXPECT_EQ(768, last.weights[0]->matrix->rows);
  EXPECT_THROW(forward(), std::out_of_range);
}

TEST_F(BuiltInNet, CurrentNetIsTheOneBuiltLast) {
  standardOutputOf([&] {
    const ConvNet third(3);
    EXPECT_EQ(3u, facefeature::currentNetIndex);
    for (int32_t i = 0; i < 25; ++i) {
      const ConvNet each(i);
      EXPECT_EQ(static_cast<uint32_t>(i), facefeature::currentNetIndex);
      ASSERT_EQ(13u, each.layers.size());
      EXPECT_EQ(i, dynamic_cast<facefeature::DataLayer&>(*each.layers[0]).dataIdx);
    }
  });
  EXPECT_EQ(24u, facefeature::currentNetIndex);
  for (const facefeature::ConfigDocument& document : facefeature::netDocuments) {
    EXPECT_EQ(15u, document.sectionCount) << "a document outlives its net";
  }
}

}  // namespace
}  // namespace facefeature_test

#include "layers/weight_layer.h"

#include <gtest/gtest.h>

#include <algorithm>
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
using facefeature::Matrix;
using facefeature::WeightLayer;
using facefeature::WeightRef;

// A layer with weights and no arithmetic.
class BareWeightLayer : public WeightLayer {
 public:
  using WeightLayer::WeightLayer;
  using WeightLayer::weightMatrix;
  void applyInput(int32_t, float) override {}
};

// A fully connected layer without inputs.
LayerText idleLayer(const std::string& name, const std::string& lines) {
  return {name, "type=fc\nbiases=b\n" + lines};
}

std::unique_ptr<ConvNet> build(const std::vector<LayerText>& layers) {
  return std::make_unique<ConvNet>(0, netText(layers).c_str());
}

const WeightLayer& weightLayer(const ConvNet& net, size_t index) {
  return dynamic_cast<const WeightLayer&>(*net.layers.at(index));
}

class WeightLayerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    clearModelFolder();
    writeMatrixFile("b", 1, 2, {10, 20});
    for (int32_t i = 0; i < 10; ++i) {
      const float first = static_cast<float>(i);
      writeMatrixFile("w" + std::to_string(i), 3, 2, {first, 1, 2, 3, 4, 5});
    }
  }
};

using WeightLayerFiles = WeightLayerTest;
using WeightSharing = WeightLayerTest;

TEST_F(WeightLayerFiles, EachMatrixHasARecordThatOwnsIt) {
  ConvNet net(0, "[layer]\nweights=w1_w2\nbiases=b\n");
  const BareWeightLayer layer(&net, "layer", false);
  ASSERT_EQ(2u, layer.weights.size());
  EXPECT_TRUE(holds(*layer.weights[0]->matrix, 3, 2, {1, 1, 2, 3, 4, 5}));
  EXPECT_TRUE(holds(*layer.weights[1]->matrix, 3, 2, {2, 1, 2, 3, 4, 5}));
  EXPECT_EQ(nullptr, layer.weights[0]->source);
  EXPECT_EQ(nullptr, layer.weights[1]->source);
  ASSERT_NE(nullptr, layer.biases);
  EXPECT_EQ(nullptr, layer.biases->source);
  EXPECT_TRUE(holds(*layer.biases->matrix, 1, 2, {10, 20}));
  EXPECT_EQ(-1, layer.actsTarget);
  EXPECT_EQ(&net, layer.owner);
}

TEST_F(WeightLayerFiles, TransposingTurnsTheWeightsAndLeavesTheBiases) {
  ConvNet net(0, "[layer]\nweights=w1\nbiases=b\n");
  const BareWeightLayer layer(&net, "layer", true);
  EXPECT_TRUE(holds(*layer.weights.at(0)->matrix, 2, 3, {1, 2, 4, 1, 3, 5}));
  EXPECT_TRUE(holds(*layer.biases->matrix, 1, 2, {10, 20}));
}

TEST_F(WeightLayerFiles, LinesOfWeightsComeBeforeTheLineOfTheBiases) {
  ConvNet net(0, "[layer]\nbiases=x3\nweights=x1_w1_x2\n");
  std::unique_ptr<BareWeightLayer> layer;
  const std::string printed =
      standardOutputOf([&] { layer = std::make_unique<BareWeightLayer>(&net, "layer", false); });
  EXPECT_EQ(failedLine("x1") + failedLine("x2") + failedLine("x3"), printed);
}

TEST_F(WeightLayerFiles, MissingWeightsFileMovesLaterMatricesUp) {
  ConvNet net(0, "[layer]\nweights=gone_w2\nbiases=b\n");
  std::unique_ptr<BareWeightLayer> layer;
  const std::string printed =
      standardOutputOf([&] { layer = std::make_unique<BareWeightLayer>(&net, "layer", false); });
  EXPECT_EQ(failedLine("gone"), printed);
  ASSERT_EQ(1u, layer->weights.size());
  EXPECT_SAME_FLOAT(2.0f, layer->weights[0]->matrix->buffer[0]);
}

TEST_F(WeightLayerFiles, MissingBiasesFilePrintsOneLineAndLeavesAnEmptyMatrix) {
  ConvNet net(0, "[layer]\nweights=w1\nbiases=gone\n");
  std::unique_ptr<BareWeightLayer> layer;
  const std::string printed =
      standardOutputOf([&] { layer = std::make_unique<BareWeightLayer>(&net, "layer", false); });
  EXPECT_EQ(failedLine("gone"), printed);
  ASSERT_NE(nullptr, layer->biases->matrix);
  EXPECT_EQ(0, layer->biases->matrix->size);
  EXPECT_EQ(nullptr, layer->biases->source);
}

TEST_F(WeightLayerFiles, SectionWithoutTheKeyWeightsIsSilentlyWithoutMatrices) {
  ConvNet net(0, "[layer]\nbiases=b\n");
  const std::string printed = standardOutputOf([&] {
    const BareWeightLayer layer(&net, "layer", true);
    EXPECT_TRUE(layer.weights.empty());
  });
  EXPECT_EQ("", printed);
}

TEST_F(WeightLayerFiles, SectionWithoutTheKeyBiasesPrintsTheFolder) {
  ConvNet net(0, "[layer]\nweights=w1\n");
  EXPECT_EQ(failedLine(""),
            standardOutputOf([&] { const BareWeightLayer layer(&net, "layer", true); }));
}

TEST_F(WeightLayerFiles, MatrixOfAnInputWithoutOneThrows) {
  ConvNet net(0, "[layer]\nweights=w1_w2\nbiases=b\n");
  const BareWeightLayer layer(&net, "layer", false);
  EXPECT_EQ(layer.weights[1]->matrix, &layer.weightMatrix(1));
  EXPECT_THROW(layer.weightMatrix(2), std::out_of_range);
  EXPECT_THROW(layer.weightMatrix(-1), std::out_of_range);
}

TEST_F(WeightLayerFiles, FieldsAreInTheirOrder) {
  ConvNet net(0, "[layer]\nweights=w1\nbiases=b\n");
  const BareWeightLayer layer(&net, "layer", false);
  const auto addressOf = [](const auto& field) { return reinterpret_cast<uintptr_t>(&field); };
  EXPECT_LT(addressOf(layer.type), addressOf(layer.weights));
  EXPECT_LT(addressOf(layer.weights), addressOf(layer.biases));
  EXPECT_LT(addressOf(layer.biases->matrix), addressOf(layer.biases->source));
}

TEST_F(WeightSharing, TakesTheMatrixOfAnEarlierLayersRecord) {
  const auto net = build({
      idleLayer("a", "weights=w0"),
      idleLayer("c", "weights=w1"),
      idleLayer("d", "weights=w2_w3"),
      idleLayer("e", "weights=w4"),
      idleLayer("f", "weights=w5"),
      idleLayer("g", "weightSourceLayerIndices=2\nweightSourceMatrixIndices=0"),
  });
  const WeightLayer& source = weightLayer(*net, 2);
  const WeightLayer& sharing = weightLayer(*net, 5);
  ASSERT_EQ(1u, sharing.weights.size());
  EXPECT_EQ(source.weights[0]->matrix, sharing.weights[0]->matrix);
  EXPECT_EQ(source.weights[0], sharing.weights[0]->source);
  EXPECT_EQ(nullptr, source.weights[0]->source);
  EXPECT_NE(source.biases->matrix, sharing.biases->matrix);
  EXPECT_EQ(nullptr, sharing.biases->source);
}

// The lines that share the weights of other layers, as lists of layer and matrix indices.
std::string sharing(const std::string& layers, const std::string& matrices) {
  return "weightSourceLayerIndices=" + layers + "\nweightSourceMatrixIndices=" + matrices;
}

TEST_F(WeightSharing, LayersOfOneMatrixMayBeDestroyedInAnyOrder) {
  for (const bool sourceFirst : {true, false}) {
    const auto net =
        build({idleLayer("a", "weights=w1"), idleLayer("c", sharing("0_0_1", "0_0_1"))});
    facefeature::Layer*& earlier = net->layers[sourceFirst ? 0 : 1];
    delete earlier;
    net->layers.erase(net->layers.begin() + (sourceFirst ? 0 : 1));
  }
}

TEST_F(WeightSharing, OwnPositionSharesWithinTheLayer) {
  const auto net = build({idleLayer("a", "weights=w1_w2"), idleLayer("c", sharing("0_1", "1_0"))});
  const WeightLayer& source = weightLayer(*net, 0);
  const WeightLayer& layer = weightLayer(*net, 1);
  ASSERT_EQ(2u, layer.weights.size());
  EXPECT_EQ(source.weights[1]->matrix, layer.weights[0]->matrix);
  EXPECT_EQ(source.weights[1], layer.weights[0]->source);
  EXPECT_EQ(source.weights[1]->matrix, layer.weights[1]->matrix);
  EXPECT_EQ(layer.weights[0], layer.weights[1]->source);
}

TEST_F(WeightSharing, FirstEntryCannotBeTheLayersOwn) {
  EXPECT_THROW(build({idleLayer("a", "weights=w1"), idleLayer("c", sharing("1", "0"))}),
               std::out_of_range);
  EXPECT_THROW(build({idleLayer("a", sharing("0", "0"))}), std::out_of_range);
}

TEST_F(WeightSharing, FilesAreStillReadAndTheirMatricesAreInNoRecord) {
  std::unique_ptr<ConvNet> net;
  const std::string printed = standardOutputOf([&] {
    net = build(
        {idleLayer("a", "weights=w1"), idleLayer("c", "weights=w2_gone\n" + sharing("0", "0"))});
  });
  EXPECT_EQ(failedLine("gone"), printed);
  ASSERT_EQ(1u, weightLayer(*net, 1).weights.size());
  EXPECT_EQ(weightLayer(*net, 0).weights[0]->matrix, weightLayer(*net, 1).weights[0]->matrix);
}

TEST_F(WeightSharing, LayerIndexWithoutALayerThrows) {
  for (const std::string index : {"-1", "2", "7", "2147483647"}) {
    EXPECT_THROW(build({idleLayer("a", "weights=w1"), idleLayer("c", sharing(index, "0"))}),
                 std::out_of_range)
        << index;
  }
  // 2 is a layer of the net that is not built yet.
  EXPECT_THROW(build({idleLayer("a", "weights=w1"), idleLayer("c", sharing("2", "0")),
                      idleLayer("d", "weights=w2")}),
               std::out_of_range);
}

TEST_F(WeightSharing, LayerWithoutWeightsThrows) {
  EXPECT_THROW(build({dataLayerText(), idleLayer("c", sharing("0", "0"))}), std::out_of_range);
  EXPECT_THROW(build({{"sum", "type=eltsum"}, idleLayer("c", sharing("0", "0"))}),
               std::out_of_range);
}

TEST_F(WeightSharing, MatrixIndexBeyondTheSourcesThrows) {
  for (const std::string index : {"-1", "2", "2147483647"}) {
    EXPECT_THROW(build({idleLayer("a", "weights=w1_w2"), idleLayer("c", sharing("0", index))}),
                 std::out_of_range)
        << index;
  }
}

TEST_F(WeightSharing, SourceThatLacksItsFileHasNoMatrixToShare) {
  ::testing::internal::CaptureStdout();
  EXPECT_THROW(build({idleLayer("a", "weights=gone"), idleLayer("c", sharing("0", "0"))}),
               std::out_of_range);
  EXPECT_EQ(failedLine("gone"), ::testing::internal::GetCapturedStdout());
}

TEST_F(WeightSharing, TooFewMatrixIndicesThrow) {
  EXPECT_THROW(build({idleLayer("a", "weights=w1_w2"), idleLayer("c", sharing("0_0", "0"))}),
               std::out_of_range);
  EXPECT_THROW(build({idleLayer("a", "weights=w1"), idleLayer("c", sharing("0", ""))}),
               std::out_of_range);
}

TEST_F(WeightSharing, MatrixIndicesAloneAreIgnored) {
  const auto net =
      build({idleLayer("a", "weights=w1"), idleLayer("c", "weights=w2\n" + sharing("", "0_5")),
             idleLayer("d", sharing("0", "0_5_9"))});
  EXPECT_SAME_FLOAT(2.0f, weightLayer(*net, 1).weights.at(0)->matrix->buffer[0]);
  EXPECT_EQ(nullptr, weightLayer(*net, 1).weights.at(0)->source);
  EXPECT_EQ(1u, weightLayer(*net, 2).weights.size());
}

TEST_F(WeightSharing, RandomChainsEndAtTheMatrixThatAFileGave) {
  SeededRandom random;
  for (int round = 0; round < 60; ++round) {
    // origins[i][k] is the number of the file that matrix k of layer i comes from.
    std::vector<std::vector<int32_t>> origins;
    std::vector<LayerText> layers;
    struct Share {
      size_t layer, entry, sourceLayer, sourceEntry;
    };
    std::vector<Share> shares;
    const size_t count = static_cast<size_t>(random.integer(1, 6));
    for (size_t i = 0; i < count; ++i) {
      const std::string name = "l" + std::to_string(i);
      std::string first, second;
      origins.emplace_back();
      const int32_t entries = random.integer(1, 4);
      const bool shared = i > 0 && random.chance(60);
      for (int32_t k = 0; k < entries; ++k) {
        const std::string separator = k == 0 ? "" : "_";
        if (!shared) {
          const int32_t file = random.integer(0, 9);
          first += separator + "w" + std::to_string(file);
          origins[i].push_back(file);
          continue;
        }
        const int32_t last = static_cast<int32_t>(k == 0 ? i - 1 : i);
        const size_t source = static_cast<size_t>(random.integer(0, last));
        const size_t entry = static_cast<size_t>(
            random.integer(0, static_cast<int32_t>(origins[source].size()) - 1));
        first += separator + std::to_string(source);
        second += separator + std::to_string(entry);
        shares.push_back({i, static_cast<size_t>(k), source, entry});
        origins[i].push_back(origins[source][entry]);
      }
      layers.push_back(idleLayer(name, shared ? sharing(first, second) : "weights=" + first));
    }
    const auto net = build(layers);
    for (size_t i = 0; i < count; ++i) {
      const WeightLayer& layer = weightLayer(*net, i);
      ASSERT_EQ(origins[i].size(), layer.weights.size());
      for (size_t k = 0; k < origins[i].size(); ++k) {
        EXPECT_SAME_FLOAT(static_cast<float>(origins[i][k]), layer.weights[k]->matrix->buffer[0]);
      }
    }
    for (const Share& share : shares) {
      const WeightRef* record = weightLayer(*net, share.layer).weights[share.entry];
      const WeightRef* source = weightLayer(*net, share.sourceLayer).weights[share.sourceEntry];
      EXPECT_EQ(source, record->source);
      EXPECT_EQ(source->matrix, record->matrix);
    }
    // Layers may be destroyed in any order.
    for (size_t i = net->layers.size(); i > 1; --i) {
      std::swap(net->layers[i - 1],
                net->layers[static_cast<size_t>(random.integer(0, static_cast<int32_t>(i) - 1))]);
    }
    while (!net->layers.empty()) {
      delete net->layers.back();
      net->layers.pop_back();
    }
  }
}

}  // namespace
}  // namespace facefeature_test

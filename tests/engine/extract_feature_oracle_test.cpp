// Compares the whole path of a request, from pixels and landmarks to the 502 floats, with an
// independent oracle, bit by bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "engine/build_patch_matrices.h"
#include "engine/feature_engine.h"
#include "engine/net_features.h"
#include "geometry/gray_image.h"
#include "net/conv_net.h"
#include "support/bits.h"
#include "support/oracle_extraction.h"
#include "support/reference_extract.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

using facefeature::kPatchCount;
using facefeature::Matrix;

// Indices of the layers of a net that own their activations.
constexpr size_t kBanks[] = {1, 4, 7, 10};  // each rewritten by its neuron
constexpr size_t kPools[] = {3, 6, 9};
constexpr size_t kFlat = 12;

const Matrix& activationsOf(const FeatureEngine* engine, size_t net, size_t layer) {
  return *engine->nets[net]->layers[layer]->getActivations();
}

::testing::AssertionResult sameActivations(const std::vector<float>& wanted, const Matrix& got) {
  if (got.rows != 2 || static_cast<size_t>(got.size) != wanted.size()) {
    return ::testing::AssertionFailure()
           << got.rows << " x " << got.cols << ", wanted " << wanted.size() << " values in 2 rows";
  }
  return sameFloats(wanted.data(), got.buffer, wanted.size());
}

// Names the first stage that differs, to locate the cause of a wrong feature.
void expectSameStages(const FeatureEngine* engine, const reference::Extraction& wanted) {
  for (size_t net = 0; net < kPatchCount; ++net) {
    const reference::NetActivations& run = wanted.nets[net];
    for (size_t bank = 0; bank < 4; ++bank) {
      ASSERT_TRUE(sameActivations(run.rectified[bank], activationsOf(engine, net, kBanks[bank])))
          << "filter bank " << bank << " of net " << net;
      if (bank == 3) break;
      ASSERT_TRUE(sameActivations(run.pooled[bank], activationsOf(engine, net, kPools[bank])))
          << "pool " << bank << " of net " << net;
    }
    ASSERT_TRUE(sameActivations(run.outputs, activationsOf(engine, net, kFlat))) << "net " << net;
  }
}

void expectLikeOracle(FeatureEngine* engine, const Picture& picture, FaceRecord& face) {
  const std::vector<float> got = extracted(engine, picture, face);
  const reference::Extraction wanted =
      extractedByOracle(modelNumbers(), picture.view(), *face.set());
  EXPECT_TRUE(
      std::equal(wanted.patches.grayFace.begin(), wanted.patches.grayFace.end(), engine->grayFace))
      << "the gray frame that is left";
  EXPECT_TRUE(std::equal(wanted.patches.colorFace.begin(), wanted.patches.colorFace.end(),
                         engine->colorFace))
      << "the colour frame that is left";
  expectSameStages(engine, wanted);
  EXPECT_TRUE(sameFloats(wanted.feature.data(), got.data(), kFeatureFloats));
}

TEST(ExtractFeatureOracle, FacesOfEveryKindInPicturesOfAllSizes) {
  SeededRandom random;
  haveModel();
  const OwnEngine engine;
  for (int32_t kind = 0; kind < kFaceKinds; ++kind) {
    for (int round = 0; round < 2; ++round) {
      const int32_t width = random.integer(2, 420);
      const int32_t height = random.integer(2, 420);
      const Picture picture = randomPicture(random, width, height);
      FaceRecord face = faceOfKind(random, static_cast<FaceKind>(kind), width, height);
      SCOPED_TRACE(nameOf(static_cast<FaceKind>(kind)) + " in " + std::to_string(width) + " x " +
                   std::to_string(height) + ", stride " + std::to_string(picture.stride));
      expectLikeOracle(engine.get(), picture, face);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(ExtractFeatureOracle, TheSmallestPictures) {
  SeededRandom random;
  haveModel();
  const OwnEngine engine;
  struct Size {
    int32_t width, height;
  };
  for (const Size size : {Size{2, 2}, Size{2, 3}, Size{3, 2}, Size{2, 300}, Size{300, 2}}) {
    for (const int32_t stride : {3 * size.width, 3 * size.width + 2, -3 * size.width}) {
      const Picture picture = randomPicture(random, size.width, size.height, stride);
      // Larger than the picture, so that the frame is more than one flat patch.
      FacePose pose = randomPose(random, 300, 300);
      pose.x = pose.y = 1.0f;
      FaceRecord face = projectedFace(pose);
      SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height));
      expectLikeOracle(engine.get(), picture, face);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(ExtractFeatureOracle, RowsAtOneAddress) {
  // A stride of 0 is not rejected: every row is the first one.
  SeededRandom random;
  haveModel();
  const OwnEngine engine;
  Picture picture = randomPicture(random, 200, 2, 600);
  picture.stride = 0;
  picture.height = 150;
  FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 200, 150);
  const std::vector<float> got = extracted(engine.get(), picture, face);
  const reference::PictureView view = {picture.storage.data(), 200, 150, 0};
  const reference::Extraction wanted = extractedByOracle(modelNumbers(), view, *face.set());
  EXPECT_TRUE(sameFloats(wanted.feature.data(), got.data(), kFeatureFloats));
}

TEST(ExtractFeatureOracle, RecordsWithRepeatedAndAdditionalDroppedEntries) {
  // Only the head pose uses the dropped entries; it uses each of them.
  SeededRandom random;
  haveModel();
  const OwnEngine engine;
  const Picture picture = randomPicture(random, 220, 180);
  FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 220, 180);
  face.entries.push_back(face.withId(240));
  face.entries.push_back(face.withId(315));
  face.entries.push_back({241, 17.0f, 99.0f});
  expectLikeOracle(engine.get(), picture, face);

  // The opposite case: only the 25 entries.
  const auto isDropped = [](const Landmark& entry) {
    return entry.id == 240 || entry.id == 241 || entry.id == 315 || entry.id == 316;
  };
  face.entries.erase(std::remove_if(face.entries.begin(), face.entries.end(), isDropped),
                     face.entries.end());
  ASSERT_EQ(25u, face.entries.size());
  expectLikeOracle(engine.get(), picture, face);
}

// Both tests check the activations that an extraction leaves in the layers of its nets.
class ActivationsOfOneFace : public ::testing::Test {
 protected:
  ActivationsOfOneFace() {
    haveModel();
    SeededRandom random;
    picture_ = randomPicture(random, 240, 200);
    face_ = faceOfKind(random, FaceKind::kTurned, 240, 200);
    engine_ = std::make_unique<OwnEngine>();
    extracted(engine_->get(), picture_, face_);
    patches_ =
        reference::patchMatrices(picture_.view(), *face_.set(), modelNumbers().patchMeans.data());
  }

  Picture picture_;
  FaceRecord face_;
  std::unique_ptr<OwnEngine> engine_;
  reference::PatchSet patches_;
};

std::vector<float> copyOf(const Matrix& matrix) {
  return std::vector<float>(matrix.buffer, matrix.buffer + matrix.size);
}

std::vector<float> exchanged(const reference::StoredMatrix& matrix) {
  std::vector<float> values;
  for (int32_t c = 0; c < matrix.cols; ++c) {
    for (int32_t r = 0; r < matrix.rows; ++r) {
      values.push_back(matrix.values[static_cast<size_t>(r * matrix.cols + c)]);
    }
  }
  return values;
}

// Each layer is compared with the oracle's result for the layer's actual input.
TEST_F(ActivationsOfOneFace, EveryFilterBankHasTheBitsOfItsSums) {
  for (size_t net = 0; net < kPatchCount; ++net) {
    const reference::PatchRow& row = reference::patchRow(static_cast<int32_t>(net));
    for (size_t bank = 0; bank < 4; ++bank) {
      const reference::BankShape shape =
          reference::bankShape(static_cast<int32_t>(bank), row.colour ? 3 : 1, row.side);
      const reference::FilterBank& numbers = modelNumbers().nets[net].banks[bank];
      reference::FilterInput input;
      input.samples = bank == 0 ? patches_.matrices[net]
                                : copyOf(activationsOf(engine_->get(), net, kPools[bank - 1]));
      input.sampleLength = static_cast<int32_t>(input.samples.size() / 2);
      input.weights = exchanged(numbers.weights);
      input.weightLength = numbers.weights.rows;
      input.channels = shape.channels;
      input.imgSize = shape.imgSize;
      reference::Floats sums =
          reference::convolution({input}, 2, shape.filters, shape.modulesX, numbers.biases.values);
      for (float& value : sums) value = value > 0.0f ? value : 0.0f;
      const Matrix& got = activationsOf(engine_->get(), net, kBanks[bank]);
      ASSERT_TRUE(hasBits(sums, got.buffer, static_cast<size_t>(got.size)))
          << "filter bank " << bank << " of net " << net;
    }
  }
}

TEST_F(ActivationsOfOneFace, EveryOutputHasTheBitsOfItsSumsAndReadsTheRectifiedBank) {
  for (size_t net = 0; net < kPatchCount; ++net) {
    const reference::NetNumbers& numbers = modelNumbers().nets[net];
    std::vector<reference::FlatInput> inputs(2);
    const size_t layers[] = {kBanks[3], kPools[2]};
    for (size_t i = 0; i < 2; ++i) {
      const Matrix& matrix = activationsOf(engine_->get(), net, layers[i]);
      inputs[i] = {copyOf(matrix), matrix.cols, numbers.flatWeights[i].values};
    }
    EXPECT_EQ(0, std::count_if(inputs[0].samples.begin(), inputs[0].samples.end(),
                               [](float value) { return value < 0.0f; }));
    const Matrix& got = activationsOf(engine_->get(), net, kFlat);
    ASSERT_TRUE(hasBits(reference::fullyConnected(inputs, 2, 160, numbers.flatBiases.values),
                        got.buffer, static_cast<size_t>(got.size)))
        << "net " << net;
  }
}

TEST_F(ActivationsOfOneFace, RunNetsJoinsTheRowsOfAllNetsAtUnitLength) {
  FeatureEngine* engine = engine_->get();
  std::vector<uint8_t> gray(240 * 200);
  facefeature::ConvertToGray(picture_.pixels(), 240, 200, picture_.stride, gray.data());
  std::vector<Matrix*>* matrices = facefeature::BuildPatchMatrices(
      engine, picture_.pixels(), 240, 200, picture_.stride, gray.data(), face_.set());
  ASSERT_EQ(25u, matrices->size());
  std::vector<float> joined(8002, kUnwritten);
  facefeature::runNets(engine->nets, *matrices, joined.data() + 1);
  EXPECT_EQ(kUnwritten, joined.front());
  EXPECT_EQ(kUnwritten, joined.back());
  for (size_t net = 0; net < kPatchCount; ++net) {
    const Matrix& outputs = activationsOf(engine, net, kFlat);
    EXPECT_TRUE(
        sameFloats(reference::unitRows(outputs.buffer).data(), joined.data() + 1 + net * 320, 320))
        << "net " << net;
    delete (*matrices)[net];
  }
  delete matrices;
}

}  // namespace
}  // namespace facefeature_test

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "engine/feature_engine.h"
#include "engine/loaded_model.h"
#include "engine/model_state.h"
#include "layers/weight_layer.h"
#include "net/conv_net.h"
#include "platform/model_directory.h"
#include "support/bits.h"
#include "support/reference_model.h"
#include "support/tasks.h"
#include "support/test_engine.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace facefeature_test {
namespace {

using facefeature::crossProjection;
using facefeature::featureMean;
using facefeature::kLargestSample;
using facefeature::kPatchCount;
using facefeature::patchMeans;
using facefeature::selfProjection;

constexpr float kMark = -31.25f;

void markPatchMeans() {
  std::fill_n(&patchMeans[0][0], static_cast<size_t>(kPatchCount) * kLargestSample, kMark);
}

std::string meanName(int32_t n) { return "0-" + std::to_string(n) + "-0"; }

// Slot n - 1 holds these floats, followed by its previous content.
void expectSlot(int32_t n, const std::vector<float>& values) {
  std::vector<float> wanted = values;
  wanted.resize(kLargestSample, kMark);
  EXPECT_TRUE(sameFloats(wanted.data(), patchMeans[n - 1], wanted.size())) << "slot of file " << n;
}

void expectSlotsUpTo(int32_t last) {
  for (int32_t n = 1; n <= kPatchCount; ++n) {
    const ModelFile& file = modelFile(meanName(n));
    expectSlot(n, n <= last ? syntheticNumbers(file, kModelSeed) : std::vector<float>());
  }
}

// The output of a creation, and the engine.
struct Creation {
  std::unique_ptr<OwnEngine> engine;
  std::string printed;
};

Creation created() {
  Creation creation;
  ::testing::internal::CaptureStdout();
  creation.engine = std::make_unique<OwnEngine>();
  creation.printed = ::testing::internal::GetCapturedStdout();
  return creation;
}

TEST(CreateFeatureEngine, WithAllFilesThereAre25NetsAndTheModelIsLoadedSilently) {
  haveModel();
  markPatchMeans();
  const Creation creation = created();
  FeatureEngine* engine = creation.engine->get();
  ASSERT_NE(nullptr, engine);
  EXPECT_EQ("", creation.printed);
  expectSlotsUpTo(25);
  expectModelIsLoaded();
  for (size_t i = 0; i < 25; ++i) {
    ASSERT_NE(nullptr, engine->nets[i]);
    EXPECT_EQ(13u, engine->nets[i]->layers.size());
    EXPECT_EQ(1u, engine->nets[i]->dataLayers.size());
    EXPECT_EQ(1, std::count(engine->nets, engine->nets + 25, engine->nets[i]));
  }
}

TEST(CreateFeatureEngine, EveryLayerHasTheNumbersOfItsFiles) {
  haveModel();
  const OwnEngine engine;
  ASSERT_NE(nullptr, engine.get());
  static const size_t kLayerIndices[] = {1, 4, 7, 10, 12};  // conv1, conv2, local3, local4, fc
  for (size_t i = 0; i < 25; ++i) {
    for (size_t stage = 1; stage <= 5; ++stage) {
      const auto* layer = dynamic_cast<facefeature::WeightLayer*>(
          engine->nets[i]->layers[kLayerIndices[stage - 1]]);
      ASSERT_NE(nullptr, layer);
      const auto stored = [&](size_t item) {
        return reference::readStoredMatrix(
            modelFolder(),
            std::to_string(stage) + "-" + std::to_string(i + 1) + "-" + std::to_string(item));
      };
      const size_t weights = stage == 5 ? 2 : 1;
      ASSERT_EQ(weights, layer->weights.size());
      for (size_t input = 0; input < weights; ++input) {
        const reference::StoredMatrix wanted = stored(input + 1);
        const facefeature::Matrix& got = *layer->weights[input]->matrix;
        const bool turned = stage != 5;
        EXPECT_EQ(wanted.rows, turned ? got.cols : got.rows);
        EXPECT_EQ(wanted.cols, turned ? got.rows : got.cols);
        EXPECT_EQ(facefeature::kRowMajor, got.order);
        EXPECT_EQ(nullptr, layer->weights[input]->source);
        for (int32_t r = 0; r < wanted.rows; ++r) {
          for (int32_t c = 0; c < wanted.cols; ++c) {
            const float value = wanted.values[static_cast<size_t>(r * wanted.cols + c)];
            ASSERT_SAME_FLOAT(value, got.buffer[turned ? got.indexOf(c, r) : got.indexOf(r, c)]);
          }
        }
      }
      const reference::StoredMatrix biases = stored(weights + 1);
      const facefeature::Matrix& got = *layer->biases->matrix;
      EXPECT_EQ(biases.rows, got.rows);
      EXPECT_EQ(biases.cols, got.cols);
      EXPECT_TRUE(sameFloats(biases.values.data(), got.buffer, biases.values.size()));
    }
  }
}

TEST(CreateFeatureEngine, AMissingPatchMeanGivesNullAfterTheFilesBeforeItWereRead) {
  haveModel();
  for (int32_t n = 1; n <= kPatchCount; ++n) {
    const SpoiltFile missing(meanName(n));
    markPatchMeans();
    const Creation creation = created();
    EXPECT_EQ(nullptr, creation.engine->get());
    EXPECT_EQ("", creation.printed);
    expectSlotsUpTo(n - 1);
    expectNoModel();
    facefeature::DestroyFeatureEngine(creation.engine->get());
    expectSlotsUpTo(n - 1);
  }
}

TEST(CreateFeatureEngine, AMissingProjectionFileGivesNullAndFreesTheBuffers) {
  haveModel();
  for (const char* name : {"6-0", "6-1", "6-2"}) {
    const SpoiltFile missing(name);
    markPatchMeans();
    const Creation creation = created();
    EXPECT_EQ(nullptr, creation.engine->get()) << name;
    EXPECT_EQ("", creation.printed);
    expectSlotsUpTo(25);
    expectNoModel();
  }
}

TEST(CreateFeatureEngine, AMissingModelFolderGivesNull) {
  haveModel();
  const std::string aside = modelFolder() + "-aside";
  std::filesystem::rename(modelFolder(), aside);
  const Creation creation = created();
  std::filesystem::rename(aside, modelFolder());
  EXPECT_EQ(nullptr, creation.engine->get());
  EXPECT_EQ("", creation.printed);
  expectNoModel();
}

TEST(CreateFeatureEngine, AFailedCreationSucceedsOnceTheFileIsThere) {
  haveModel();
  {
    const SpoiltFile missing("6-1");
    EXPECT_EQ(nullptr, facefeature::CreateFeatureEngine());
  }
  OwnEngine engine;
  ASSERT_NE(nullptr, engine.get());
  expectModelIsLoaded();
  engine.destroy();
  expectNoModel();
}

TEST(CreateFeatureEngine, AShortFileIsNotDetectedAndItsMissingFloatsAreZero) {
  haveModel();
  const std::string whole = bytesOfAnotherModel("6-0");
  const SpoiltFile shortMean("6-0", whole.substr(0, 400));
  const SpoiltFile emptyProjection("6-2", std::string());
  const SpoiltFile emptyPatchMean("0-6-0", std::string());
  markPatchMeans();
  const Creation creation = created();
  ASSERT_NE(nullptr, creation.engine->get());
  EXPECT_EQ("", creation.printed);
  EXPECT_EQ(0, std::memcmp(whole.data(), featureMean, 400));
  EXPECT_EQ(7900, std::count(featureMean + 100, featureMean + 8000, 0.0f));
  EXPECT_EQ(4000000, std::count(crossProjection, crossProjection + 4000000, 0.0f));
  expectBuffer(selfProjection, "6-1");
  expectSlot(6, {});
}

TEST(CreateFeatureEngine, TheSurplusOfLongFilesIsIgnored) {
  haveModel();
  const auto lengthened = [](const std::string& name) {
    std::string bytes = bytesOfAnotherModel(name);
    bytes.append(1000, '\x7F');
    return bytes;
  };
  const SpoiltFile mean("6-0", lengthened("6-0"));
  const SpoiltFile biases("1-1-2", lengthened("1-1-2"));
  const OwnEngine engine;
  ASSERT_NE(nullptr, engine.get());
  const std::vector<float> wanted = syntheticNumbers(modelFile("6-0"), kModelSeed + 1);
  EXPECT_TRUE(sameFloats(wanted.data(), featureMean, wanted.size()));
  expectBuffer(selfProjection, "6-1");
  expectBuffer(crossProjection, "6-2");
}

TEST(CreateFeatureEngine, ALayerFileThatCannotBeOpenedPrintsItsPathWithASingleSeparator) {
  haveModel();
  const SpoiltFile weights("5-3-1");
  const SpoiltFile biases("2-25-2");
  const Creation creation = created();
  ASSERT_NE(nullptr, creation.engine->get());
  const std::string folder = facefeature::ModelDirectory;
  EXPECT_EQ("load " + folder + "5-3-1 failed\nload " + folder + "2-25-2 failed\n",
            creation.printed);
}

TEST(CreateFeatureEngine, AHeaderThatAsksForTooMuchThrowsAndLeavesTheBuffersAllocated) {
#if defined(__SANITIZE_ADDRESS__)
  // A net that is only partly built when memory runs out is leaked.
  const __lsan::ScopedDisabler lostNets;
#endif
  haveModel();
  struct Lie {
    const char* name;
    int32_t rows, cols;
  };
  for (const Lie& lie :
       {Lie{"1-1-1", INT_MAX, INT_MAX}, Lie{"4-13-2", -1, 16}, Lie{"5-25-3", 1 << 16, 1 << 16},
        Lie{"5-2-2", 1 << 15, 1 << 15}, Lie{"2-9-1", 16, -3}}) {
    {
      std::string bytes;
      appendNumber(bytes, lie.rows);
      appendNumber(bytes, lie.cols);
      const SpoiltFile lying(lie.name, bytes);
      EXPECT_THROW(facefeature::CreateFeatureEngine(), std::bad_alloc)
          << lie.name << " of " << lie.rows << " x " << lie.cols;
      expectModelIsLoaded();
    }
    // The failed creation is not counted as an engine: the model is freed with the next engine.
    OwnEngine next;
    ASSERT_NE(nullptr, next.get());
    next.destroy();
    expectNoModel();
  }
}

TEST(CreateFeatureEngine, StartsNoThreads) {
  haveModel();
  const size_t before = taskCount();
  const OwnEngine engine;
  EXPECT_EQ(before, taskCount());
}

TEST(DestroyFeatureEngine, OfNullDoesNothing) {
  haveModel();
  facefeature::DestroyFeatureEngine(nullptr);
  const OwnEngine engine;
  facefeature::DestroyFeatureEngine(nullptr);
  expectModelIsLoaded();
}

TEST(DestroyFeatureEngine, FreesTheModelButNotThePatchMeans) {
  haveModel();
  markPatchMeans();
  OwnEngine engine;
  engine.destroy();
  expectNoModel();
  expectSlotsUpTo(25);
}

TEST(DestroyFeatureEngine, ANewCreationReadsAllFilesAgain) {
  haveModel();
  { const OwnEngine engine; }
  const SpoiltFile mean("6-0", bytesOfAnotherModel("6-0"));
  const SpoiltFile self("6-1", bytesOfAnotherModel("6-1"));
  const SpoiltFile cross("6-2", bytesOfAnotherModel("6-2"));
  const SpoiltFile patchMean("0-8-0", bytesOfAnotherModel("0-8-0"));
  const SpoiltFile biases("5-8-3", bytesOfAnotherModel("5-8-3"));
  const auto other = [](const char* name) {
    return syntheticNumbers(modelFile(name), kModelSeed + 1);
  };
  const OwnEngine engine;
  ASSERT_NE(nullptr, engine.get());
  EXPECT_TRUE(sameFloats(other("6-0").data(), featureMean, 8000));
  EXPECT_TRUE(sameFloats(other("6-1").data(), selfProjection, 4000000));
  EXPECT_TRUE(sameFloats(other("6-2").data(), crossProjection, 4000000));
  EXPECT_TRUE(sameFloats(other("0-8-0").data(), patchMeans[7], 6627));
  const auto* fc = dynamic_cast<facefeature::WeightLayer*>(engine->nets[7]->layers.back());
  ASSERT_NE(nullptr, fc);
  EXPECT_TRUE(sameFloats(other("5-8-3").data(), fc->biases->matrix->buffer, 160));
}

}  // namespace
}  // namespace facefeature_test

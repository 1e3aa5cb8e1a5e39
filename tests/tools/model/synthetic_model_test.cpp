#include "model/synthetic_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "base/failure.h"
#include "model/model_check.h"
#include "model/model_files.h"
#include "support/seeded_random.h"
#include "tools/model/synthetic_folder.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

using facefeature_tools::Failure;
using facefeature_tools::ModelFile;
using facefeature_tools::ModelFileKind;
using facefeature_tools::modelFiles;
using facefeature_tools::writeSyntheticModel;

std::vector<float> floatsOf(const ModelFile& file) {
  const std::string bytes = contentOf(syntheticFolder() + "/" + file.name);
  std::vector<float> floats(file.floats());
  std::memcpy(floats.data(), bytes.data() + 4 * file.headerWords(), 4 * floats.size());
  return floats;
}

const ModelFile& fileNamed(const std::string& name) {
  for (const ModelFile& file : modelFiles()) {
    if (file.name == name) return file;
  }
  throw std::runtime_error("no model file " + name);
}

double meanSquare(const std::vector<float>& floats) {
  double sum = 0;
  for (const float value : floats) sum += static_cast<double>(value) * static_cast<double>(value);
  return sum / static_cast<double>(floats.size());
}

// 64-bit FNV-1a of the contents of all 303 files, concatenated in the order of "LC_ALL=C sort" of
// their names.
uint64_t checksum(const std::string& folder) {
  std::vector<std::string> names;
  for (const ModelFile& file : modelFiles()) names.push_back(file.name);
  std::sort(names.begin(), names.end());
  uint64_t sum = 0xCBF29CE484222325u;
  for (const std::string& name : names) {
    for (const char byte : contentOf(folder + "/" + name)) {
      sum = (sum ^ static_cast<uint8_t>(byte)) * 0x100000001B3u;
    }
  }
  return sum;
}

TEST(SyntheticModel, SameSeedGivesTheSameBytesOnEveryPlatform) {
  // The sum of the files that "facefeature model synth DIR --seed 1" wrote on x86-64 Linux. GCC 12
  // and Clang 14, each without optimisation and with -O3 -march=native, gave the same 303 files.
  EXPECT_EQ(0x62f512329d42f6ecu, checksum(syntheticFolder()));
}

TEST(SyntheticModel, IsACompleteModel) {
  EXPECT_TRUE(facefeature_tools::checkModel(syntheticFolder(),
                                            facefeature_tools::CheckDepth::kNumbers,
                                            facefeature_tools::kBadInput, "")
                  .empty());
}

TEST(SyntheticModel, AnotherSeedGivesOtherNumbersInEveryFile) {
  const std::string other = privateTempFolder() + "/other";
  writeSyntheticModel(other, 2);
  for (const ModelFile& file : modelFiles()) {
    EXPECT_NE(contentOf(syntheticFolder() + "/" + file.name), contentOf(other + "/" + file.name))
        << file.name;
  }
  std::filesystem::remove_all(other);
}

TEST(SyntheticModel, NoTwoFilesHoldTheSameNumbers) {
  for (const ModelFile& file : modelFiles()) {
    if (file.name.substr(0, 2) != "2-") continue;
    if (file.name != "2-1-1" && file.kind == ModelFileKind::kWeights) {
      EXPECT_NE(contentOf(syntheticFolder() + "/2-1-1"),
                contentOf(syntheticFolder() + "/" + file.name));
    }
  }
}

TEST(SyntheticModel, ReadmeSaysThatNothingWasTrained) {
  const std::string readme = contentOf(syntheticFolder() + "/README");
  EXPECT_NE(std::string::npos, readme.find("NOT trained"));
  EXPECT_NE(std::string::npos, readme.find("say nothing about people"));
  EXPECT_NE(std::string::npos, readme.find("--seed 1\n"));
}

TEST(SyntheticModel, PatchMeansAreSmoothAndAround127) {
  for (const ModelFile& file : modelFiles()) {
    if (file.kind != ModelFileKind::kPatchMean) continue;
    const std::vector<float> mean = floatsOf(file);
    double sum = 0;
    float steepest = 0.0f;
    for (size_t i = 0; i < mean.size(); ++i) {
      sum += static_cast<double>(mean[i]);
      if (i % static_cast<size_t>(file.side) == 0) continue;
      steepest = std::max(steepest, std::fabs(mean[i] - mean[i - 1]));
    }
    EXPECT_LT(steepest, 6.0f) << file.name;
    EXPECT_GT(*std::min_element(mean.begin(), mean.end()), 80.0f) << file.name;
    EXPECT_LT(*std::max_element(mean.begin(), mean.end()), 170.0f) << file.name;
    EXPECT_NEAR(127.0, sum / static_cast<double>(mean.size()), 10.0) << file.name;
  }
}

TEST(SyntheticModel, WeightsAddUpToZeroOverEachWindow) {
  for (const char* name : {"1-1-1", "1-4-1", "2-7-1", "3-25-1", "4-1-1", "5-1-1", "5-1-2"}) {
    const ModelFile& file = fileNamed(name);
    const std::vector<float> weights = floatsOf(file);
    const size_t cols = static_cast<size_t>(file.cols);
    const size_t window = static_cast<size_t>(file.window);
    // Each weight is below 1 and rounded once: the error is at most 2^-25.
    const double bound = static_cast<double>(window) * std::ldexp(1.0, -25);
    double largest = 0;
    for (size_t first = 0; first < weights.size() / cols; first += window) {
      for (size_t column = 0; column < cols; ++column) {
        double sum = 0;
        for (size_t i = 0; i < window; ++i) {
          sum += static_cast<double>(weights[(first + i) * cols + column]);
        }
        largest = std::max(largest, std::fabs(sum));
      }
    }
    EXPECT_LT(largest, bound) << name;
  }
}

TEST(SyntheticModel, WeightsHaveTheVarianceThatKeepsActivationsInSize) {
  // The mean square of n drawn numbers has a relative standard deviation of less than sqrt(2 / n).
  // For 4608 numbers, a tenth is more than four standard deviations.
  for (const char* name : {"2-1-1", "3-4-1", "4-25-1"}) {
    const ModelFile& file = fileNamed(name);
    EXPECT_NEAR(2.0 / file.rows, meanSquare(floatsOf(file)), 0.2 / file.rows) << name;
  }
  for (const char* name : {"5-1-1", "5-1-2"}) {
    EXPECT_NEAR(2.0 / 2224, meanSquare(floatsOf(fileNamed(name))), 0.2 / 2224) << name;
  }
}

TEST(SyntheticModel, ProjectionsMapAVectorToNearlyTheSameLength) {
  const std::vector<float> own = floatsOf(fileNamed("6-1"));
  const std::vector<float> cross = floatsOf(fileNamed("6-2"));
  SeededRandom random;
  const std::vector<float> x = random.normals(8000);
  double ownSquare = 0;
  double crossSquare = 0;
  for (size_t row = 0; row < 500; ++row) {
    double ownSum = 0;
    double crossSum = 0;
    for (size_t i = 0; i < 8000; ++i) {
      ownSum += static_cast<double>(own[row * 8000 + i]) * static_cast<double>(x[i]);
      crossSum += static_cast<double>(cross[row * 8000 + i]) * static_cast<double>(x[i]);
    }
    ownSquare += ownSum * ownSum;
    crossSquare += crossSum * crossSum;
  }
  // The quotient of the two deviates from 1 by about 2 * 0.126 / sqrt(500), that is 0.0113. The
  // score of a face against itself is 3 minus twice this quotient.
  EXPECT_NEAR(1.0, ownSquare / crossSquare, 0.0565);
  // Sums of 500 squares have a relative standard deviation of sqrt(2 / 500).
  EXPECT_NEAR(1.0, crossSquare / (meanSquare(x) * 8000), 5 * 0.0632);
}

TEST(SyntheticModel, FolderOfOtherFilesIsLeftAsItIs) {
  const std::string folder = privateTempFolder() + "/trained";
  std::filesystem::create_directories(folder);
  writeText(folder + "/6-0", "trained");
  try {
    writeSyntheticModel(folder, 1);
    ADD_FAILURE();
  } catch (const Failure& failure) {
    EXPECT_EQ(facefeature_tools::kWrongUsage, failure.code());
  }
  EXPECT_EQ("trained", contentOf(folder + "/6-0"));
  EXPECT_FALSE(std::filesystem::exists(folder + "/README"));
  std::filesystem::remove_all(folder);
}

TEST(SyntheticModel, EarlierSyntheticModelIsReplaced) {
  const std::string folder = privateTempFolder() + "/again";
  writeSyntheticModel(folder, 2);
  writeText(folder + "/5-25-3", "short");
  writeSyntheticModel(folder, 1);
  EXPECT_EQ(checksum(syntheticFolder()), checksum(folder));
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace facefeature_test

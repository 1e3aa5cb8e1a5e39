#include "engine/net_features.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "kernels/matrix.h"
#include "net/conv_net.h"
#include "net/net_fixture.h"
#include "support/bits.h"
#include "support/process_ends.h"
#include "support/reference_extract.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::normalizeRows;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

std::vector<float> normalized(const std::vector<float>& output) {
  // Surrounded by marks, so that a write outside of the 320 floats is detected.
  std::vector<float> destination(322, -7.0f);
  normalizeRows(output.data(), destination.data() + 1);
  EXPECT_EQ(-7.0f, destination.front());
  EXPECT_EQ(-7.0f, destination.back());
  return std::vector<float>(destination.begin() + 1, destination.end() - 1);
}

std::vector<float> rows(float first, float second) {
  std::vector<float> output(320, first);
  std::fill(output.begin() + 160, output.end(), second);
  return output;
}

TEST(NormalizeRows, HasTheBitsOfTheMixedSteps) {
  SeededRandom random;
  for (int round = 0; round < 500; ++round) {
    std::vector<float> output(320);
    for (float& value : output) value = std::ldexp(random.normal(), random.integer(-10, 10));
    ASSERT_TRUE(
        sameFloats(reference::unitRows(output.data()).data(), normalized(output).data(), 320));
  }
}

TEST(NormalizeRows, SpecialValuesPropagate) {
  SeededRandom random;
  for (int round = 0; round < 500; ++round) {
    std::vector<float> output = random.normals(320);
    for (int32_t spot = random.integer(1, 3); spot > 0; --spot) {
      output[static_cast<size_t>(random.integer(0, 319))] = random.special();
    }
    ASSERT_TRUE(
        sameFloats(reference::unitRows(output.data()).data(), normalized(output).data(), 320));
  }
}

TEST(NormalizeRows, EachRowHasANormOfItsOwn) {
  const std::vector<float> unit = normalized(rows(1.0f, -1000.0f));
  const float wanted = std::sqrt(1.0f / 160.0f);
  for (size_t k = 0; k < 160; ++k) {
    EXPECT_FLOAT_EQ(wanted, unit[k]);
    EXPECT_FLOAT_EQ(-wanted, unit[160 + k]);
  }
}

TEST(NormalizeRows, ARowOfZerosGivesNotANumberInThatRowAlone) {
  const std::vector<float> first = normalized(rows(0.0f, 3.0f));
  const std::vector<float> second = normalized(rows(3.0f, -0.0f));
  for (size_t k = 0; k < 160; ++k) {
    EXPECT_TRUE(std::isnan(first[k]));
    EXPECT_FALSE(std::isnan(first[160 + k]));
    EXPECT_FALSE(std::isnan(second[k]));
    EXPECT_TRUE(std::isnan(second[160 + k]));
  }
}

// A wrong way to compute one of the steps; some row must show the difference.
struct WrongStep {
  const char* name;
  std::function<float(const std::vector<float>& row)> norm;
};

TEST(NormalizeRows, EveryRoundingOfTheStepsCounts) {
  // Each of these norms is the result of a plausible mistake. If the right steps never differed
  // from them, the rows of the differential test would not detect the mistake.
  const auto square = [](float x) { return static_cast<double>(x * x); };
  const auto exactSquare = [](float x) { return static_cast<double>(x) * static_cast<double>(x); };
  const WrongStep slips[] = {
      {"sum in float",
       [](const std::vector<float>& row) {
         float sum = 0.0f;
         for (const float x : row) sum += x * x;
         return std::sqrt(sum);
       }},
      {"squares in double",
       [&](const std::vector<float>& row) {
         double sum = 0.0;
         for (const float x : row) sum += exactSquare(x);
         return static_cast<float>(std::sqrt(static_cast<double>(static_cast<float>(sum))));
       }},
      {"sum not rounded",
       [&](const std::vector<float>& row) {
         double sum = 0.0;
         for (const float x : row) sum += square(x);
         return static_cast<float>(std::sqrt(sum));
       }},
  };
  for (const WrongStep& slip : slips) {
    SeededRandom random;
    bool differed = false;
    for (int round = 0; round < 200 && !differed; ++round) {
      std::vector<float> row = random.normals(160);
      const float wrong = slip.norm(row);
      std::vector<float> output(row);
      output.insert(output.end(), row.begin(), row.end());
      const std::vector<float> unit = normalized(output);
      for (size_t k = 0; k < 160; ++k) differed = differed || !sameBits(row[k] / wrong, unit[k]);
    }
    EXPECT_TRUE(differed) << slip.name;
  }
}

TEST(NormalizeRows, SquaresBeyondTheFloatsMakeTheRowZero) {
  // 1e20 squared is infinite as a float, but not as a double.
  std::vector<float> output = rows(1.0f, 1.0f);
  output[3] = 1e20f;
  const std::vector<float> unit = normalized(output);
  EXPECT_SAME_FLOAT(0.0f, unit[0]);
  EXPECT_SAME_FLOAT(0.0f, unit[3]);
  EXPECT_FLOAT_EQ(std::sqrt(1.0f / 160.0f), unit[160]);
}

TEST(NormalizeRows, ASumBeyondTheFloatsMakesTheRowZero) {
  const std::vector<float> unit = normalized(rows(1e19f, 1e18f));
  EXPECT_SAME_FLOAT(0.0f, unit[0]);
  EXPECT_FLOAT_EQ(std::sqrt(1.0f / 160.0f), unit[160]);
}

TEST(NormalizeRows, SquaresBelowTheFloatsMakeTheRowInfinite) {
  const std::vector<float> unit = normalized(rows(1e-30f, -1e-30f));
  EXPECT_SAME_FLOAT(kInfinity, unit[0]);
  EXPECT_SAME_FLOAT(-kInfinity, unit[319]);
}

// 25 nets of one data layer each, so that the output of net i is matrix i.
class PassingNets {
 public:
  PassingNets() {
    for (int32_t i = 0; i < 25; ++i) {
      const std::string text = netText({dataLayerText("data", i)});
      nets_.push_back(std::make_unique<facefeature::ConvNet>(i, text.c_str()));
      netPointers_.push_back(nets_.back().get());
      matrices_.push_back(std::make_unique<facefeature::Matrix>(2, 160));
      setValues(*matrices_.back());
    }
  }

  void reshapeOutput(size_t net, int32_t rows, int32_t cols) {
    matrices_[net] = std::make_unique<facefeature::Matrix>(rows, cols);
    setValues(*matrices_[net]);
  }

  void giveText(size_t net, const std::string& text) {
    nets_[net] = std::make_unique<facefeature::ConvNet>(static_cast<int32_t>(net), text.c_str());
    netPointers_[net] = nets_[net].get();
  }

  const facefeature::Matrix& output(size_t net) const { return *matrices_[net]; }

  std::vector<float> run() const {
    std::vector<facefeature::Matrix*> inputs;
    for (const auto& matrix : matrices_) inputs.push_back(matrix.get());
    std::vector<float> features(8000, -7.0f);
    facefeature::runNets(netPointers_.data(), inputs, features.data());
    return features;
  }

 private:
  static void setValues(facefeature::Matrix& matrix) {
    for (int32_t k = 0; k < matrix.size; ++k) {
      matrix.buffer[k] = static_cast<float>(k % 7) - 2.5f;
    }
  }

  std::vector<std::unique_ptr<facefeature::ConvNet>> nets_;
  std::vector<facefeature::ConvNet*> netPointers_;
  std::vector<std::unique_ptr<facefeature::Matrix>> matrices_;
};

TEST(RunNets, EachNetsRowsHaveUnitLengthAndAreInTheNetsOwnColumns) {
  PassingNets nets;
  for (size_t i = 0; i < 25; ++i) nets.output(i).buffer[i] = 100.0f;
  const std::vector<float> features = nets.run();
  for (size_t i = 0; i < 25; ++i) {
    const std::vector<float> wanted = reference::unitRows(nets.output(i).buffer);
    EXPECT_TRUE(sameFloats(wanted.data(), features.data() + 320 * i, 320)) << "net " << i;
  }
}

struct Width {
  size_t net;
  int32_t rows;
  int32_t cols;
};

TEST(RunNetsDeathTest, AnOutputThatLeavesItsOwnOrTheSharedFloatsTerminatesTheProcess) {
  for (const Width& width : {Width{0, 2, 159}, Width{11, 1, 160}, Width{24, 0, 160},
                             Width{24, 2, 161}, Width{24, 3, 160}}) {
    const auto runWith = [&] {
      PassingNets nets;
      nets.reshapeOutput(width.net, width.rows, width.cols);
      nets.run();
    };
    EXPECT_EXIT(runWith(), endedByAbort(), "output of another width")
        << "net " << width.net << ": " << width.rows << " x " << width.cols;
  }
}

TEST(RunNetsDeathTest, ANetWithoutLayersTerminatesTheProcess) {
  const auto run = [] {
    PassingNets nets;
    nets.giveText(17, "");
    nets.run();
  };
  EXPECT_EXIT(run(), endedByAbort(), "std::out_of_range");
}

// Nothing may escape from the loop, whatever is thrown in it.
TEST(RunNetsDeathTest, ATextThatIsThrownInARunTerminatesTheProcess) {
  const auto run = [] {
    PassingNets nets;
    const LayerText output = {"output", "type=data\nactsTarget=0\ninputs=first"};
    nets.giveText(3, netText({dataLayerText("first"), output}));
    nets.run();
  };
  EXPECT_EXIT(run(), endedByAbort(), "terminate called");
}

}  // namespace
}  // namespace facefeature_test

#include "layers/neuron.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "layers/neuron_layer.h"
#include "net/conv_net.h"
#include "net/net_fixture.h"
#include "support/reference_neurons.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConvNet;
using facefeature::createNeuron;
using facefeature::Matrix;
using facefeature::Neuron;
using reference::neuronValues;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// A neuron is freed as plain storage: it has no virtual destructor.
struct PlainFree {
  void operator()(Neuron* neuron) const { ::operator delete(neuron); }
};
using OwnedNeuron = std::unique_ptr<Neuron, PlainFree>;

// A neuron made from a section with these lines.
OwnedNeuron make(const std::string& keyword, const std::string& parameters = "") {
  const ConvNet net(0, ("[layer]\n" + parameters).c_str());
  return OwnedNeuron(createNeuron("layer", keyword.c_str()));
}

Values transformed(const OwnedNeuron& neuron, const Values& values) {
  const auto matrix = matrixOf(1, static_cast<int32_t>(values.size()), values);
  neuron->run(matrix.get());
  return valuesOf(*matrix);
}

float transformed(const OwnedNeuron& neuron, float value) {
  return transformed(neuron, Values{value})[0];
}

::testing::AssertionResult same(const Values& wanted, const Values& got) {
  if (wanted.size() != got.size()) return ::testing::AssertionFailure() << got.size() << " values";
  return sameFloats(wanted.data(), got.data(), wanted.size());
}

// Ordinary, special and wide-ranging numbers.
Values testValues(Random& random, size_t count) {
  Values values;
  for (size_t i = 0; i < count; ++i) {
    const int32_t kind = random.integer(0, 4);
    if (kind == 0) {
      values.push_back(random.special());
    } else if (kind == 1) {
      values.push_back(floatOfBits(static_cast<uint32_t>(random.next())));
    } else {
      values.push_back(random.normal() * static_cast<float>(random.integer(1, 60)));
    }
  }
  return values;
}

std::string parameterText(float a, float b) {
  std::ostringstream text;
  text << std::fixed << "a=" << a << "\nb=" << b;
  return text.str();
}

TEST(Neuron, EveryKeywordTransformsEachElementInItsOwnRounding) {
  SeededRandom random;
  for (const std::string& keyword : reference::neuronKeywords()) {
    for (int round = 0; round < 40; ++round) {
      // Multiples of a quarter, because their texts are read without rounding.
      const float a = static_cast<float>(random.integer(-20, 20)) * 0.25f;
      const float b = static_cast<float>(random.integer(-20, 20)) * 0.25f;
      const int32_t rows = random.integer(1, 5);
      const int32_t cols = random.integer(1, 40);
      const Values values = testValues(random, static_cast<size_t>(rows * cols));
      const auto matrix = matrixOf(rows, cols, values);
      if (random.chance(50)) matrix->order = facefeature::kColumnMajor;
      const int32_t order = matrix->order;
      const float* const buffer = matrix->buffer;

      make(keyword, parameterText(a, b))->run(matrix.get());
      ASSERT_TRUE(holds(*matrix, rows, cols, neuronValues(keyword, {a, b}, values)))
          << keyword << " with a=" << a << ", b=" << b;
      EXPECT_EQ(order, matrix->order) << keyword;
      EXPECT_EQ(buffer, matrix->buffer) << keyword << " works in place";
    }
  }
}

TEST(Neuron, TransformsAsManyElementsAsTheSizeSays) {
  for (const std::string& keyword : reference::neuronKeywords()) {
    const Values values = {-2.0f, 3.0f, -4.0f, 5.0f, -6.0f, 7.0f};
    const auto matrix = matrixOf(2, 3, values);
    matrix->size = 2;
    make(keyword, "a=2\nb=1")->run(matrix.get());
    Values wanted = values;
    for (size_t i = 0; i < 2; ++i) wanted[i] = reference::neuronValue(keyword, {2, 1}, values[i]);
    EXPECT_TRUE(sameFloats(wanted.data(), matrix->buffer, wanted.size())) << keyword;
  }
}

TEST(Neuron, EmptyMatrixPassesThroughEveryFunctionUnchanged) {
  for (const std::string& keyword : reference::neuronKeywords()) {
    Matrix empty;
    make(keyword, "a=2\nb=1")->run(&empty);
    EXPECT_EQ(nullptr, empty.buffer) << keyword;
    EXPECT_EQ(0, empty.rows) << keyword;
    EXPECT_EQ(0, empty.cols) << keyword;
    EXPECT_EQ(0, empty.size) << keyword;
  }
}

TEST(Neuron, RunStoresTheMatrixAndSetsApplied) {
  for (const std::string& keyword : reference::neuronKeywords()) {
    const OwnedNeuron neuron = make(keyword);
    EXPECT_FALSE(neuron->applied) << keyword;
    EXPECT_EQ(nullptr, neuron->matrix) << keyword;
    const auto first = matrixOf(1, 1, {1.0f});
    const auto second = matrixOf(1, 1, {1.0f});
    neuron->run(first.get());
    neuron->run(second.get());
    EXPECT_TRUE(neuron->applied) << keyword;
    EXPECT_EQ(second.get(), neuron->matrix) << keyword;
  }
}

class CountingNeuron : public Neuron {
 public:
  void transform() { ++transforms; }
  void run(Matrix* target) {
    ++runs;
    Neuron::run(target);
  }
  int runs = 0;
  int transforms = 0;
};

TEST(Neuron, BothOperationsAreVirtual) {
  const ConvNet net(0, "[layer]\nneuron=ident\nactsTarget=0\n");
  facefeature::NeuronLayer layer(nullptr, "layer");
  Neuron* const own = layer.neuron;
  CountingNeuron counting;
  layer.neuron = &counting;
  const auto matrix = matrixOf(1, 1, {1.0f});
  layer.inputMatrices = {matrix.get()};
  layer.applyInput(0, 0.0f);
  layer.neuron = own;
  EXPECT_EQ(1, counting.transforms);
  EXPECT_EQ(1, counting.runs);
}

TEST(IdentNeuron, LeavesEveryBitAsItIsNanPayloadsIncluded) {
  const uint32_t patterns[] = {0x7FC12345u, 0xFFA00001u, 0x7F800001u, 0x80000000u, 0x00000001u};
  for (const uint32_t pattern : patterns) {
    const auto matrix = matrixOf(1, 1, {0.0f});
    std::memcpy(matrix->buffer, &pattern, sizeof pattern);
    make("ident")->run(matrix.get());
    EXPECT_BITS(pattern, matrix->buffer[0]);
  }
}

TEST(ReluNeuron, NegativeZeroAndNanGivePositiveZero) {
  const OwnedNeuron neuron = make("relu");
  EXPECT_BITS(0u, transformed(neuron, -0.0f));
  EXPECT_BITS(0u, transformed(neuron, kNan));
  EXPECT_BITS(0u, transformed(neuron, -kNan));
  EXPECT_BITS(0u, transformed(neuron, -1.0f));
  EXPECT_BITS(1u, transformed(neuron, floatOfBits(1)));
}

TEST(BoundedReluNeuron, KeepsValuesBetweenZeroAndItsBound) {
  const OwnedNeuron neuron = make("brelu", "a=6");
  EXPECT_TRUE(same({0.0f, 3.0f, 6.0f, 0.0f, 6.0f, 0.0f},
                   transformed(neuron, {-1.0f, 3.0f, 7.0f, kNan, kInfinity, -0.0f})));
  EXPECT_BITS(0u, transformed(neuron, -0.0f));
}

TEST(BoundedReluNeuron, MissingBoundGivesZeroForAllFiniteInput) {
  const OwnedNeuron neuron = make("brelu");
  EXPECT_TRUE(same({0.0f, 0.0f, 0.0f}, transformed(neuron, {-1.0f, 3.0f, 1e30f})));
}

TEST(BoundedReluNeuron, BoundBelowZeroWinsOverTheLowerBound) {
  const OwnedNeuron neuron = make("brelu", "a=-2");
  EXPECT_TRUE(same({-2.0f, -2.0f, -2.0f, -2.0f}, transformed(neuron, {-5.0f, 0.0f, 3.0f, kNan})));
}

TEST(BoundedReluNeuron, ReadsItsBoundAndNothingElse) {
  const OwnedNeuron neuron = make("brelu", "a=6\nb=100");
  EXPECT_SAME_FLOAT(6.0f, transformed(neuron, 7.0f));
  EXPECT_SAME_FLOAT(3.0f, transformed(neuron, 3.0f));
}

TEST(ReluNeuron, IgnoresBothParameters) {
  const OwnedNeuron neuron = make("relu", "a=6\nb=100");
  EXPECT_SAME_FLOAT(7.0f, transformed(neuron, 7.0f));
  EXPECT_SAME_FLOAT(0.0f, transformed(neuron, -7.0f));
}

TEST(LinearNeuron, MultipliesAndThenAdds) {
  EXPECT_SAME_FLOAT(7.0f, transformed(make("linear", "a=2\nb=1"), 3.0f));
}

TEST(LinearNeuron, ProductIsRoundedBeforeTheSum) {
  // (1 + 2^-23)^2 - 1 keeps its last digit only if the product is not rounded.
  const float x = 1.0f + 0x1p-23f;
  const ConvNet net(0, "[layer]\n");
  facefeature::LinearNeuron neuron(x, -1.0f);
  const auto matrix = matrixOf(1, 1, {x});
  neuron.run(matrix.get());
  EXPECT_SAME_FLOAT(0x1p-22f, matrix->buffer[0]);
}

TEST(LinearNeuron, MissingParametersAreTreatedAsZero) {
  EXPECT_TRUE(same({0.0f, 0.0f}, transformed(make("linear"), {3.0f, -1e30f})));
  EXPECT_TRUE(same({5.0f, 5.0f}, transformed(make("linear", "b=5"), {3.0f, -1e30f})));
  EXPECT_SAME_FLOAT(12.0f, transformed(make("linear", "a=4"), 3.0f));
}

TEST(LinearNeuron, ParameterThatIsNotANumberIsTreatedAsMissing) {
  EXPECT_SAME_FLOAT(1.0f, transformed(make("linear", "a=two\nb=1"), 3.0f));
}

TEST(LinearNeuron, ParameterOutOfRangeIsClamped) {
  // Forty digits before the decimal point.
  const std::string digits(40, '9');
  EXPECT_SAME_FLOAT(std::numeric_limits<float>::max(),
                    transformed(make("linear", "a=" + digits + "\nb=0"), 1.0f));
}

TEST(LinearNeuron, MissingSectionIsTreatedAsOneWithoutEntries) {
  const ConvNet net(0, "[other]\na=2\nb=1\n");
  const OwnedNeuron neuron(createNeuron("layer", "linear"));
  EXPECT_SAME_FLOAT(0.0f, transformed(neuron, 3.0f));
}

TEST(TanhNeuron, ZeroGivesZero) {
  EXPECT_SAME_FLOAT(0.0f, transformed(make("tanh", "a=1\nb=1"), 0.0f));
}

TEST(TanhNeuron, OuterFactorStretchesAndInnerFactorScalesTheArgument) {
  const OwnedNeuron neuron = make("tanh", "a=3\nb=0.5");
  EXPECT_TRUE(same({3.0f, -3.0f}, transformed(neuron, {1e6f, -1e6f})));
  EXPECT_SAME_FLOAT(3.0f * static_cast<float>(std::tanh(0.5)), transformed(neuron, 1.0f));
}

TEST(TanhNeuron, MissingParametersGiveZeroForAllFiniteInput) {
  EXPECT_TRUE(same({0.0f, 0.0f}, transformed(make("tanh"), {3.0f, 1e30f})));
}

TEST(SoftReluNeuron, ZeroGivesTheLogarithmOfTwo) {
  EXPECT_SAME_FLOAT(static_cast<float>(std::log(2.0)), transformed(make("softrelu"), 0.0f));
}

TEST(SoftReluNeuron, LargeArgumentOverflowsToInfinity) {
  EXPECT_SAME_FLOAT(kInfinity, transformed(make("softrelu"), 89.0f));
  EXPECT_SAME_FLOAT(0.0f, transformed(make("softrelu"), -200.0f));
}

TEST(AbsNeuron, ClearsTheSignBitOfNansToo) {
  const auto matrix = matrixOf(1, 1, {0.0f});
  const uint32_t pattern = 0xFFC12345u;
  std::memcpy(matrix->buffer, &pattern, sizeof pattern);
  make("abs")->run(matrix.get());
  EXPECT_BITS(0x7FC12345u, matrix->buffer[0]);
  EXPECT_BITS(0u, transformed(make("abs"), -0.0f));
}

TEST(LogisticNeuron, ZeroGivesAHalfAndALargeNegativeArgumentZero) {
  const OwnedNeuron neuron = make("logistic");
  EXPECT_TRUE(
      same({0.5f, 0.0f, 1.0f, 0.0f}, transformed(neuron, {0.0f, -1000.0f, 1000.0f, -kInfinity})));
}

TEST(SqrtNeuron, FourGivesTwoAndANegativeArgumentNan) {
  EXPECT_SAME_FLOAT(2.0f, transformed(make("sqrt"), 4.0f));
  EXPECT_TRUE(std::isnan(transformed(make("sqrt"), -1.0f)));
}

TEST(SquareNeuron, LargeArgumentOverflowsToInfinity) {
  EXPECT_TRUE(same({9.0f, kInfinity}, transformed(make("square"), {-3.0f, 1e30f})));
}

TEST(CreateNeuron, EveryKeywordHasItsClass) {
  const auto isMade = [](const char* keyword, const std::type_info& type) {
    const OwnedNeuron neuron = make(keyword);
    const Neuron& made = *neuron;
    return typeid(made) == type;
  };
  EXPECT_TRUE(isMade("ident", typeid(Neuron)));
  EXPECT_TRUE(isMade("relu", typeid(facefeature::ReluNeuron)));
  EXPECT_TRUE(isMade("softrelu", typeid(facefeature::SoftReluNeuron)));
  EXPECT_TRUE(isMade("brelu", typeid(facefeature::BoundedReluNeuron)));
  EXPECT_TRUE(isMade("abs", typeid(facefeature::AbsNeuron)));
  EXPECT_TRUE(isMade("logistic", typeid(facefeature::LogisticNeuron)));
  EXPECT_TRUE(isMade("tanh", typeid(facefeature::TanhNeuron)));
  EXPECT_TRUE(isMade("square", typeid(facefeature::SquareNeuron)));
  EXPECT_TRUE(isMade("sqrt", typeid(facefeature::SqrtNeuron)));
  EXPECT_TRUE(isMade("linear", typeid(facefeature::LinearNeuron)));
}

TEST(CreateNeuron, UnknownKeywordThrowsItsTextWithoutALineEnd) {
  for (const std::string keyword : {"Relu", "", "rel", "relux", "RELU", " relu", "none"}) {
    EXPECT_EQ("Unknown neuron type: " + keyword, thrownText([&] { make(keyword); }));
  }
}

}  // namespace
}  // namespace facefeature_test

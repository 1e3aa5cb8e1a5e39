// Compares random graphs of layers with a simulation on plain arrays that shares storage as the
// layers do. With layers that work in place, every difference in the order of a run changes the
// result.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "net/conv_net.h"
#include "net/net_fixture.h"
#include "support/reference_arithmetic.h"
#include "support/reference_layers.h"
#include "support/reference_neurons.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConvNet;
using facefeature::Matrix;

enum class Kind { Data, Sum, Maximum, Neuron, Softmax, MaxPool, AvgPool, CrossMap, Pass };

constexpr int32_t kChannels = 2;
constexpr int32_t kSide = 3;
constexpr int32_t kLength = kChannels * kSide * kSide;
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

struct Node {
  Kind kind = Kind::Data;
  int32_t dataIdx = 0;
  std::vector<size_t> inputs;
  int32_t actsTarget = -1;
  Values coeffs;
  std::string keyword;
  reference::NeuronParameters parameters;
};

using Graph = std::vector<Node>;

// Powers of two: a product with one of them is exact, so it does not matter whether the product is
// rounded before the sum.
float randomCoefficient(Random& random) {
  const float kCoefficients[] = {1.0f, -1.0f, 0.5f, -0.5f, 2.0f, -2.0f, 0.25f};
  return kCoefficients[random.integer(0, 6)];
}

Node randomNode(Random& random, size_t earlier) {
  const Kind kKinds[] = {Kind::Sum,     Kind::Sum,     Kind::Maximum,  Kind::Maximum,
                         Kind::Neuron,  Kind::Neuron,  Kind::Neuron,   Kind::Softmax,
                         Kind::MaxPool, Kind::AvgPool, Kind::CrossMap, Kind::Pass};
  Node node;
  node.kind = kKinds[random.integer(0, 11)];
  const int32_t fewest = node.kind == Kind::Maximum ? 2 : 1;
  const int32_t count = random.integer(fewest, 3);
  for (int32_t i = 0; i < count; ++i) {
    node.inputs.push_back(
        static_cast<size_t>(random.integer(0, static_cast<int32_t>(earlier) - 1)));
    node.coeffs.push_back(randomCoefficient(random));
  }
  const bool alwaysInPlace = node.kind == Kind::Neuron || node.kind == Kind::Pass;
  const bool neverInPlace =
      node.kind == Kind::MaxPool || node.kind == Kind::AvgPool || node.kind == Kind::CrossMap;
  if (alwaysInPlace || (!neverInPlace && random.chance(35))) {
    node.actsTarget = random.chance(70) ? 0 : random.integer(0, count - 1);
  }
  const std::vector<std::string> kKeywords = {"relu", "softrelu", "brelu", "abs", "logistic",
                                              "tanh", "linear",   "ident", "sqrt"};
  node.keyword = kKeywords[static_cast<size_t>(random.integer(0, 8))];
  node.parameters = {randomCoefficient(random), randomCoefficient(random)};
  return node;
}

Graph randomGraph(Random& random) {
  Graph graph;
  const int32_t sources = random.integer(1, 3);
  for (int32_t i = 0; i < sources; ++i) {
    Node node;
    node.dataIdx = i;
    graph.push_back(node);
  }
  std::swap(graph.front().dataIdx, graph.back().dataIdx);
  const int32_t layers = random.integer(1, 14);
  for (int32_t i = 0; i < layers; ++i) graph.push_back(randomNode(random, graph.size()));
  return graph;
}

std::string nameOf(size_t node) { return "n" + std::to_string(node); }

const char* typeOf(Kind kind) {
  switch (kind) {
    case Kind::Data:
      return "data\nactsTarget=0";
    case Kind::Sum:
      return "eltsum";
    case Kind::Maximum:
      return "eltmax";
    case Kind::Neuron:
      return "neuron";
    case Kind::Softmax:
      return "softmax";
    case Kind::MaxPool:
      return "pool\npool=max\nsizeX=3\nstart=-1\nstride=1\noutputsX=3\nchannels=2";
    case Kind::AvgPool:
      return "pool\npool=avg\nsizeX=2\nstart=0\nstride=1\noutputsX=3\nchannels=2";
    case Kind::CrossMap:
      return "cmrnorm\nsizeX=2\nscale=0.5\npow=0.75\nchannels=2";
    case Kind::Pass:
      return "rnorm";
  }
  return "";
}

std::string textOf(const Graph& graph) {
  std::vector<LayerText> layers;
  for (size_t i = 0; i < graph.size(); ++i) {
    const Node& node = graph[i];
    std::ostringstream lines;
    lines << "type=" << typeOf(node.kind) << "\ndataIdx=" << node.dataIdx;
    if (!node.inputs.empty()) {
      std::string inputs;
      std::ostringstream coeffs;
      for (size_t k = 0; k < node.inputs.size(); ++k) {
        inputs += (k == 0 ? "" : "_") + nameOf(node.inputs[k]);
        coeffs << (k == 0 ? "" : "_") << node.coeffs[k];
      }
      lines << "\ninputs=" << inputs << "\ncoeffs=" << coeffs.str();
    }
    if (node.actsTarget >= 0) lines << "\nactsTarget=" << node.actsTarget;
    lines << "\nneuron=" << node.keyword << "\na=" << node.parameters.a
          << "\nb=" << node.parameters.b;
    layers.emplace_back(nameOf(i), lines.str());
  }
  return netText(layers);
}

// Runs a graph with a work list instead of nested calls.
class Simulation {
 public:
  Simulation(const Graph& graph, int32_t rows, std::vector<Values> data)
      : graph_(graph), rows_(rows), storage_(std::move(data)) {
    sources_ = storage_.size();
    storage_.resize(sources_ + graph.size());
    storageIndex_.resize(graph.size());
    missing_.resize(graph.size());
    for (size_t i = 0; i < graph.size(); ++i) missing_[i] = graph[i].inputs.size();
    for (size_t i = 0; i < graph.size(); ++i) {
      if (graph[i].kind == Kind::Data) runAllFrom(i);
    }
  }

  // Index of the storage with the node's output. Below the number of sources it is a matrix of the
  // caller.
  size_t storageOf(size_t node) const { return storageIndex_[node]; }
  const Values& storage(size_t index) const { return storage_[index]; }

  // False if the result depends on how sums and products are computed: a softmax has read numbers
  // without a valid sum and scales by a NaN, or half of a subnormal number is added, which a fused
  // addition rounds differently.
  bool isDefined() const { return defined_; }

 private:
  void runAllFrom(size_t source) {
    compute(source);
    std::vector<std::pair<size_t, size_t>> toNotify;  // sender and receiver; last in, first out
    const auto addOutputsOf = [&](size_t node) {
      for (size_t output = graph_.size(); output-- > 0;) {
        for (const size_t input : graph_[output].inputs) {
          if (input == node) toNotify.emplace_back(node, output);
        }
      }
    };
    addOutputsOf(source);
    while (!toNotify.empty()) {
      const size_t output = toNotify.back().second;
      toNotify.pop_back();
      if (--missing_[output] > 0) continue;
      compute(output);
      addOutputsOf(output);
    }
  }

  void compute(size_t index) {
    const Node& node = graph_[index];
    if (node.kind == Kind::Data) {
      storageIndex_[index] = static_cast<size_t>(node.dataIdx);
      return;
    }
    std::vector<size_t> in;
    for (const size_t input : node.inputs) in.push_back(storageIndex_[input]);
    const bool inPlace = node.actsTarget >= 0;
    storageIndex_[index] = inPlace ? in[static_cast<size_t>(node.actsTarget)] : sources_ + index;
    std::vector<size_t> order;
    if (inPlace) order.push_back(static_cast<size_t>(node.actsTarget));
    for (size_t i = 0; i < in.size(); ++i) {
      if (!inPlace || i != order.front()) order.push_back(i);
    }
    for (size_t step = 0; step < order.size(); ++step) {
      apply(node, in, order[step], step == 0, storage_[storageIndex_[index]]);
    }
  }

  void apply(const Node& node, const std::vector<size_t>& in, size_t input, bool first,
             Values& out) {
    Values& front = storage_[in[0]];
    switch (node.kind) {
      case Kind::Sum:
        return addTo(out, storage_[in[input]], node.coeffs[input], first);
      case Kind::Maximum:
        if (input == 1) out = combined(storage_[in[1]], front, reference::greater);
        if (input > 1) out = combined(out, storage_[in[input]], reference::greater);
        return;
      case Kind::Neuron:
        front = reference::neuronValues(node.keyword, node.parameters, front);
        return;
      case Kind::Softmax:
        out = reference::softmax(front, rows_, kLength);
        for (const float value : out) defined_ = defined_ && !std::isnan(value);
        return;
      case Kind::MaxPool:
        out = reference::maximumPool(front, rows_, {kChannels, 3, -1, 1, kSide});
        return;
      case Kind::AvgPool:
        out = reference::averagePool(front, rows_, {kChannels, 2, 0, 1, kSide});
        return;
      case Kind::CrossMap:
        out = reference::crossMapNorm(front, rows_, kChannels, 2, 0.5f, 0.75f);
        return;
      case Kind::Pass:
      case Kind::Data:
        return;
    }
  }

  void addTo(Values& out, const Values& in, float coefficient, bool first) {
    const Values scaled = combined(in, Values(in.size(), coefficient), reference::product);
    for (size_t i = 0; i < in.size(); ++i) {
      const double exact = static_cast<double>(in[i]) * static_cast<double>(coefficient);
      if (static_cast<double>(scaled[i]) != exact && !std::isnan(exact)) defined_ = false;
    }
    out = first ? scaled : combined(out, scaled, reference::sum);
  }

  static Values combined(const Values& a, const Values& b, float (*function)(float, float)) {
    Values result;
    for (size_t i = 0; i < a.size(); ++i) result.push_back(function(a[i], b[i]));
    return result;
  }

  const Graph& graph_;
  int32_t rows_;
  size_t sources_ = 0;
  bool defined_ = true;
  std::vector<Values> storage_;  // the caller's matrices, then one per node
  std::vector<size_t> storageIndex_;
  std::vector<size_t> missing_;
};

// Returns whether the result of the run could be checked.
bool expectRun(ConvNet& net, const Graph& graph, Random& random) {
  const int32_t rows = random.integer(1, 3);
  std::vector<Values> data;
  std::vector<std::unique_ptr<Matrix>> owners;
  std::vector<Matrix*> matrices;
  for (int32_t i = 0; i < 3; ++i) {
    data.push_back(random.normals(static_cast<size_t>(rows * kLength), 2.0f));
    // No numbers whose multiples overflow: for those a fused addition would matter.
    const float kSpecial[] = {-0.0f, kInfinity, -kInfinity, kNan};
    if (random.chance(20)) data.back()[0] = kSpecial[random.integer(0, 3)];
    owners.push_back(matrixOf(rows, kLength, data.back()));
    matrices.push_back(owners.back().get());
  }
  const Simulation wanted(graph, rows, data);
  net.forward(matrices);
  if (!wanted.isDefined()) return false;
  for (size_t i = 0; i < data.size(); ++i) {
    EXPECT_TRUE(holds(*owners[i], rows, kLength, wanted.storage(i))) << "matrix " << i;
  }
  std::vector<const Matrix*> found(matrices.begin(), matrices.end());
  found.resize(data.size() + graph.size());
  for (size_t i = 0; i < graph.size(); ++i) {
    const size_t index = wanted.storageOf(i);
    const Matrix* got = net.layers[i]->getActivations();
    if (found[index] == nullptr) found[index] = got;
    EXPECT_EQ(found[index], got) << nameOf(i) << " shares its matrix with another layer";
    EXPECT_TRUE(holds(*got, rows, kLength, wanted.storage(index))) << nameOf(i);
  }
  return true;
}

TEST(LayerGraph, RandomGraphsRunAsTheirSimulationDoes) {
  SeededRandom random;
  int judged = 0;
  for (int round = 0; round < 300; ++round) {
    const Graph graph = randomGraph(random);
    const std::string text = textOf(graph);
    SCOPED_TRACE(text);
    ConvNet net(0, text.c_str());
    ASSERT_EQ(graph.size(), net.layers.size());
    for (int run = 0; run < 3; ++run) judged += expectRun(net, graph, random) ? 1 : 0;
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(judged, 600) << "too few runs stayed within ordinary numbers";
}

}  // namespace
}  // namespace facefeature_test

// Each kernel on the shapes of the nets, one benchmark per layer.
//
// The benchmarks call the functions that the layers call, so the active set takes effect. Counters:
// count is the number of times an extraction does this; flops and bytes are what a single run
// computes and moves, from which table/rows.cpp derives limits. The data are in cache, as in a net,
// except for the weights of the fully connected layers: an extraction reads each of those once,
// with many others in between.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench_common.h"
#include "kernels/convolve.h"
#include "kernels/matrix.h"
#include "kernels/multiply.h"
#include "kernels/pooling.h"
#include "kernels/unfold.h"
#include "net_shapes.h"

namespace facefeature_bench {
namespace {

using facefeature::Matrix;

// A patch and its mirror image run through a net together.
constexpr int32_t kSamples = 2;

// More than the cache that a processor has for one core.
constexpr int64_t kColdBytes = int64_t{96} << 20;

std::unique_ptr<Matrix> filledMatrix(int32_t rows, int32_t cols, uint32_t seed) {
  std::unique_ptr<Matrix> matrix(new Matrix(rows, cols));
  const std::vector<float> values = plausibleFloats(static_cast<size_t>(matrix->size), seed);
  std::copy(values.begin(), values.end(), matrix->buffer);
  return matrix;
}

std::string checksumOf(const Matrix& matrix) {
  return checksum(matrix.buffer, static_cast<size_t>(matrix.size) * sizeof(float));
}

double bytesOf(int64_t floats) { return static_cast<double>(floats) * sizeof(float); }

// Times work, which writes to out. The first run warms up and gives the checksum.
template <typename Work>
void timeWork(benchmark::State& state, const Matrix& out, Work work) {
  work();
  const std::string label = checksumOf(out);
  for (auto unused : state) {
    static_cast<void>(unused);
    work();
    benchmark::ClobberMemory();
  }
  state.SetLabel(label);
}

void timeUnfold(benchmark::State& state, const ConvShape& shape) {
  const auto image = filledMatrix(1, shape.imgFloats(), 1);
  Matrix patches(shape.filterWeights(), shape.modules());
  timeWork(state, patches, [&] {
    facefeature::UnfoldPatches(image->buffer, shape.channels, shape.imgSize, shape.imgSize,
                               shape.filterSize, 0, 1, patches.buffer);
  });
  state.counters["count"] = kSamples * shape.nets;
  state.counters["bytes"] = bytesOf(patches.size);
}

void timeProduct(benchmark::State& state, const ConvShape& shape) {
  const auto weights = filledMatrix(shape.filters, shape.filterWeights(), 2);
  const auto patches = filledMatrix(shape.filterWeights(), shape.modules(), 3);
  Matrix out(shape.filters, shape.modules());
  timeWork(state, out, [&] {
    facefeature::multiply(*weights, *patches, shape.filters, shape.modules(), shape.filterWeights(),
                          1.0f, 0.0f, out.buffer, shape.modules());
  });
  state.counters["count"] = kSamples * shape.nets;
  state.counters["flops"] = 2.0 * shape.filters * shape.modules() * shape.filterWeights();
}

// Unfolding, product and biases for both samples, as in the layer.
void timeConvolution(benchmark::State& state, const ConvShape& shape) {
  const auto input = filledMatrix(kSamples, shape.imgFloats(), 1);
  const auto weights = filledMatrix(shape.filters, shape.filterWeights(), 2);
  const auto biases = filledMatrix(shape.filters, 1, 4);
  Matrix out;
  timeWork(state, out, [&] {
    facefeature::convolveForward(*input, *weights, *biases, out, shape.imgSize, shape.modulesX(),
                                 shape.modulesX(), 0, 1, shape.channels, 0.0f, 1.0f);
  });
  state.counters["count"] = shape.nets;
  state.counters["flops"] =
      2.0 * kSamples * shape.filters * shape.modules() * shape.filterWeights();
}

void timeBiases(benchmark::State& state, const ConvShape& shape) {
  const auto biases = filledMatrix(shape.filters, 1, 4);
  const auto planes = filledMatrix(shape.filters, shape.modules(), 5);
  timeWork(state, *planes, [&] { facefeature::addBiases(*biases, planes->size, *planes); });
  state.counters["count"] = kSamples * shape.nets;
  state.counters["bytes"] = 2 * bytesOf(planes->size);
}

void timeRelu(benchmark::State& state, const ConvShape& shape) {
  const auto planes = filledMatrix(kSamples, shape.filters * shape.modules(), 5);
  timeWork(state, *planes, [&] { planes->maxWithScalar(0.0f, *planes); });
  state.counters["count"] = shape.nets;
  state.counters["bytes"] = 2 * bytesOf(planes->size);
}

void timeMaxPool(benchmark::State& state, const PoolShape& shape) {
  const auto input = filledMatrix(kSamples, shape.imgFloats(), 6);
  Matrix out;
  timeWork(state, out, [&] {
    facefeature::maxPoolForward(*input, out, shape.channels, 2, 0, 2, shape.outputsX);
  });
  state.counters["count"] = shape.nets;
  state.counters["bytes"] = bytesOf(kSamples * (shape.imgFloats() + shape.outFloats()));
}

void timeFc(benchmark::State& state, const FcShape& shape) {
  const auto input = filledMatrix(kSamples, shape.inputs, 7);
  const double weightBytes = bytesOf(int64_t{shape.inputs} * shape.outputs);
  const size_t copies = static_cast<size_t>(static_cast<double>(kColdBytes) / weightBytes) + 1;
  std::vector<std::unique_ptr<Matrix>> weights = {};
  weights.push_back(filledMatrix(shape.inputs, shape.outputs, 8));
  while (weights.size() < copies) {
    weights.emplace_back(new Matrix);
    weights.front()->copyTo(*weights.back());
  }
  Matrix out(kSamples, shape.outputs);
  size_t next = 0;
  timeWork(state, out, [&] {
    facefeature::multiply(*input, *weights[next], kSamples, shape.outputs, shape.inputs, 1.0f, 0.0f,
                          out.buffer, shape.outputs);
    next = next + 1 < copies ? next + 1 : 0;
  });
  state.counters["count"] = shape.nets;
  state.counters["bytes"] = weightBytes;
}

void registerConv(const std::string& net, const ConvShape& shape) {
  const std::string end = "/" + net + "/" + shape.name;
  addForSets("kernel/unfold" + end,
             [&shape](benchmark::State& state) { timeUnfold(state, shape); });
  addForSets("kernel/sgemm" + end,
             [&shape](benchmark::State& state) { timeProduct(state, shape); });
  addForSets("kernel/biases" + end,
             [&shape](benchmark::State& state) { timeBiases(state, shape); });
  addForSets("kernel/relu" + end, [&shape](benchmark::State& state) { timeRelu(state, shape); });
  addForSets("kernel/convolution" + end,
             [&shape](benchmark::State& state) { timeConvolution(state, shape); });
}

}  // namespace

void registerKernels() {
  for (const NetShapes& net : netShapes()) {
    for (const ConvShape& shape : net.convs) registerConv(net.name, shape);
    for (const PoolShape& shape : net.pools) {
      addForSets("kernel/maxpool/" + net.name + "/" + shape.name,
                 [&shape](benchmark::State& state) { timeMaxPool(state, shape); });
    }
    for (const FcShape& shape : net.fcs) {
      addForSets("kernel/fc/" + net.name + "/" + shape.name,
                 [&shape](benchmark::State& state) { timeFc(state, shape); });
    }
  }
}

}  // namespace facefeature_bench

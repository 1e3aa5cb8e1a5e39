#include "layers/direct_forward.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <typeinfo>

#include "kernels/direct_convolution.h"
#include "kernels/kernel_set.h"

namespace facefeature {
namespace {

using Bank = DirectForward::Bank;

constexpr int32_t kBanks = DirectForward::kBanks;
constexpr size_t kLayers = 13;
constexpr int32_t kSamplesAtOnce = 2;

// The layer as this exact type, or null: a subclass may behave differently.
template <typename LayerType>
LayerType* exactly(Layer* layer) {
  return typeid(*layer) == typeid(LayerType) ? static_cast<LayerType*>(layer) : nullptr;
}

const DirectShape& shapeOf(const Bank& bank) { return kDirectShapes[bank.shape]; }

// The first layer of the net that reads a bank's output.
Layer* outputOf(const Bank& bank) {
  return bank.pool != nullptr ? static_cast<Layer*>(bank.pool) : bank.convolution;
}

// The shape with this image, or -1.
int32_t shapeWithSide(int32_t side) {
  for (int32_t i = 0; i < kDirectShapeCount; ++i) {
    if (kDirectShapes[i].side == side) return i;
  }
  return -1;
}

bool isOnly(const std::vector<int32_t>* list, int32_t value) {
  return list->size() == 1 && list->front() == value;
}

using Layers = std::vector<Layer*>;
using LayerList = std::initializer_list<const Layer*>;

bool isList(const Layers& layers, LayerList wanted) {
  return std::equal(layers.begin(), layers.end(), wanted.begin(), wanted.end());
}

bool isLinked(const Layer* layer, LayerList inputs, LayerList outputs) {
  return isList(layer->inputLayers, inputs) && isList(layer->outputLayers, outputs);
}

bool hasShape(const Matrix& matrix, int32_t rows, int32_t cols) {
  return matrix.rows == rows && matrix.cols == cols && matrix.size == rows * cols &&
         matrix.order == kRowMajor;
}

bool convolvesInShape(const Bank& bank, int32_t channels) {
  const DirectShape& shape = shapeOf(bank);
  const ConvLayer& layer = *bank.convolution;
  if (layer.actsTarget >= 0 || layer.weights.size() != 1 ||
      layer.modulesX != shape.side - shape.filterSize + 1 || !isOnly(layer.padding, 0) ||
      !isOnly(layer.stride, 1) || !isOnly(layer.channels, channels) ||
      !isOnly(layer.imgSize, shape.side)) {
    return false;
  }
  return hasShape(*layer.weights[0]->matrix, shape.filters,
                  channels * shape.filterSize * shape.filterSize) &&
         hasShape(*layer.biases->matrix, shape.filters, 1);
}

bool rectifies(const NeuronLayer& layer) {
  return layer.actsTarget == 0 && typeid(*layer.neuron) == typeid(ReluNeuron);
}

bool poolsInShape(const MaxPoolLayer& layer, const DirectShape& shape) {
  return layer.actsTarget < 0 && layer.channels == shape.filters && layer.sizeX == 2 &&
         layer.start == 0 && layer.stride == 2 && layer.outputsX == directOutputSide(shape);
}

// Floats of one sample of a bank's output.
int32_t outputFloats(const DirectShape& shape) {
  return directOutputSide(shape) * directOutputSide(shape) * shape.filters;
}

int32_t weightFloats(const Bank& bank) { return bank.convolution->weights[0]->matrix->size; }

// The scratch memory of a run, in one block.
struct Scratch {
  std::unique_ptr<float[]> floats;
  float* weights[kBanks];  // term by term, as a direct convolution reads them
  float* outputs[kBanks];  // of kSamplesAtOnce samples
};

Scratch newScratch(const Bank (&banks)[kBanks]) {
  int64_t count = 0;
  for (const Bank& bank : banks) {
    count += weightFloats(bank) + kSamplesAtOnce * outputFloats(shapeOf(bank));
  }
  Scratch scratch;
  scratch.floats.reset(new float[static_cast<size_t>(count)]);
  float* next = scratch.floats.get();
  for (int32_t i = 0; i < kBanks; ++i) {
    scratch.weights[i] = next;
    next += weightFloats(banks[i]);
    scratch.outputs[i] = next;
    next += kSamplesAtOnce * outputFloats(shapeOf(banks[i]));
  }
  return scratch;
}

FloatRange rangeOf(const Matrix& matrix) { return {matrix.buffer, matrix.buffer + matrix.size}; }

// Converts the samples of a bank's output to rows of a matrix, plane by plane.
void storePlanes(const Bank& bank, const float* samples, int32_t count, int32_t firstRow) {
  const DirectShape& shape = shapeOf(bank);
  Matrix& matrix = *outputOf(bank)->activations;
  const int32_t pixels = directOutputSide(shape) * directOutputSide(shape);
  for (int32_t s = 0; s < count; ++s) {
    activeKernels->transpose(samples + static_cast<int64_t>(s) * matrix.cols, pixels, shape.filters,
                             matrix.buffer + static_cast<int64_t>(firstRow + s) * matrix.cols);
  }
}

// Sets the state that the layer's own run would leave, for a layer with one input.
void markLayer(Layer* layer, Matrix* input, bool isDeferred) {
  layer->receivedInputs = 1;
  layer->inputMatrices.assign(1, input);
  if (layer->actsTarget == 0) layer->activations = input;
  layer->isDeferred = isDeferred;
}

void markNeuron(NeuronLayer* layer, Matrix* input, bool isDeferred) {
  markLayer(layer, input, isDeferred);
  layer->neuron->applied = true;
  layer->neuron->matrix = input;
}

}  // namespace

bool DirectForward::matches(ConvNet& net) {
  const Layers& layers = net.layers;
  if (layers.size() != kLayers) return false;
  net_ = &net;
  data_ = exactly<DataLayer>(layers[0]);
  last_ = exactly<FCLayer>(layers[kLayers - 1]);
  if (data_ == nullptr || last_ == nullptr) return false;
  for (size_t i = 0; i < kBanks; ++i) {
    Bank& bank = banks_[i];
    bank.convolution = exactly<ConvLayer>(layers[3 * i + 1]);
    bank.neuron = exactly<NeuronLayer>(layers[3 * i + 2]);
    bank.pool = i + 1 < kBanks ? exactly<MaxPoolLayer>(layers[3 * i + 3]) : nullptr;
    if (bank.convolution == nullptr || bank.neuron == nullptr) return false;
    if (i + 1 < kBanks && bank.pool == nullptr) return false;
    const std::vector<int32_t>& sides = *bank.convolution->imgSize;
    bank.shape = sides.size() == 1 ? shapeWithSide(sides.front()) : -1;
    if (bank.shape < 0) return false;
    // Whether each bank reads the output of the previous one.
    const DirectShape& shape = shapeOf(bank);
    if (i == 0 ? shape.channels != 0 : shape.side != directOutputSide(shapeOf(banks_[i - 1]))) {
      return false;
    }
    if (shape.pools != (bank.pool != nullptr)) return false;
  }
  return true;
}

// Checked before every run, because the layers and their matrices are public.
bool DirectForward::fits(const std::vector<Matrix*>& dataMatrices) const {
  if (net_->layers.size() != kLayers || !isList(net_->dataLayers, {data_})) return false;
  const size_t index = static_cast<size_t>(data_->dataIdx);
  if (index >= dataMatrices.size() || dataMatrices[index] == nullptr) return false;
  const Matrix& images = *dataMatrices[index];
  const std::vector<int32_t>& channels = *banks_[0].convolution->channels;
  if (channels.size() != 1 || channels.front() < 1) return false;
  const int32_t side = shapeOf(banks_[0]).side;
  if (images.rows < 1 || !hasShape(images, images.rows, channels.front() * side * side)) {
    return false;
  }
  Layer* input = data_;
  if (!isLinked(data_, {}, {banks_[0].convolution})) return false;
  for (int32_t i = 0; i < kBanks; ++i) {
    const Bank& bank = banks_[i];
    const bool isLast = i + 1 == kBanks;
    if (!convolvesInShape(bank, i == 0 ? channels.front() : shapeOf(bank).channels) ||
        !rectifies(*bank.neuron)) {
      return false;
    }
    if (isLast) {
      if (!isLinked(bank.convolution, {input}, {bank.neuron, last_}) ||
          !isLinked(bank.neuron, {bank.convolution}, {})) {
        return false;
      }
      continue;
    }
    const Layer* const next = banks_[i + 1].convolution;
    const bool isPoolLinked = i + 2 < kBanks ? isLinked(bank.pool, {bank.neuron}, {next})
                                             : isLinked(bank.pool, {bank.neuron}, {next, last_});
    if (!poolsInShape(*bank.pool, shapeOf(bank)) || !isPoolLinked ||
        !isLinked(bank.convolution, {input}, {bank.neuron}) ||
        !isLinked(bank.neuron, {bank.convolution}, {bank.pool})) {
      return false;
    }
    input = bank.pool;
  }
  return last_->actsTarget < 0 && isLinked(last_, {banks_[3].convolution, banks_[2].pool}, {});
}

bool DirectForward::run(std::vector<Matrix*>& dataMatrices) {
  if (!fits(dataMatrices)) return false;
  for (Layer* layer : net_->layers) {
    layer->resetForward();
    layer->isDeferred = false;
  }
  Matrix* images = dataMatrices[static_cast<size_t>(data_->dataIdx)];
  runBanks(*images);
  images_.resize(images->rows, images->cols);
  std::memcpy(images_.buffer, images->buffer, static_cast<size_t>(images->size) * sizeof(float));
  markRun(images);
  // The last layer runs by the protocol, when its second input notifies it.
  last_->notifyInputReady();
  last_->notifyInputReady();
  return true;
}

void DirectForward::runBanks(const Matrix& images) {
  for (const Bank* bank : {&banks_[2], &banks_[3]}) {
    outputOf(*bank)->activations->resize(images.rows, outputFloats(shapeOf(*bank)));
  }
  const Scratch scratch = newScratch(banks_);
  // While one bank computes, the weights of the later ones and of the last layer are prefetched.
  FloatRange ranges[kBanks + 1];
  int32_t rangeCount = 0;
  for (int32_t i = 1; i < kBanks; ++i) {
    ranges[rangeCount++] = rangeOf(*banks_[i].convolution->weights[0]->matrix);
  }
  for (size_t i = 0; i < last_->weights.size() && i < 2; ++i) {
    ranges[rangeCount++] = rangeOf(*last_->weights[i]->matrix);
  }
  ReadAhead ahead = {nullptr, nullptr, ranges, rangeCount};
  for (int32_t row = 0; row < images.rows; row += kSamplesAtOnce) {
    const int32_t samples = std::min(kSamplesAtOnce, images.rows - row);
    const float* input = images.buffer + static_cast<int64_t>(row) * images.cols;
    for (int32_t i = 0; i < kBanks; ++i) {
      const ConvLayer& layer = *banks_[i].convolution;
      const Matrix& weights = *layer.weights[0]->matrix;
      if (row == 0) {
        activeKernels->transpose(weights.buffer, weights.rows, weights.cols, scratch.weights[i]);
      }
      activeKernels->convolveDirect(banks_[i].shape,
                                    {samples, layer.channels->front(), input, scratch.weights[i],
                                     layer.biases->matrix->buffer, scratch.outputs[i], &ahead});
      input = scratch.outputs[i];
    }
    storePlanes(banks_[2], scratch.outputs[2], samples, row);
    storePlanes(banks_[3], scratch.outputs[3], samples, row);
  }
}

void DirectForward::markRun(Matrix* images) {
  data_->activations = images;
  Matrix* input = images;
  for (int32_t i = 0; i < kBanks; ++i) {
    const Bank& bank = banks_[i];
    const bool isLast = i + 1 == kBanks;
    markLayer(bank.convolution, input, !isLast);
    markNeuron(bank.neuron, bank.convolution->activations, !isLast);
    if (isLast) continue;
    markLayer(bank.pool, bank.convolution->activations, i + 2 < kBanks);
    input = bank.pool->activations;
  }
}

void DirectForward::complete() {
  for (Layer* layer : net_->layers) layer->isDeferred = false;
  Layer* const first = banks_[0].convolution;
  Matrix* const images = first->inputMatrices.at(0);
  first->inputMatrices[0] = &images_;
  for (int32_t i = 0; i + 1 < kBanks; ++i) {
    const Bank& bank = banks_[i];
    bank.convolution->applyInput(0, 0.0f);
    bank.neuron->applyInput(0, 0.0f);
    if (i + 2 < kBanks) bank.pool->applyInput(0, 0.0f);
  }
  first->inputMatrices[0] = images;
}

std::unique_ptr<ForwardPlan> newForwardPlan(ConvNet& net) {
  std::unique_ptr<DirectForward> plan(new DirectForward());
  if (!plan->matches(net)) return nullptr;
  return plan;
}

}  // namespace facefeature

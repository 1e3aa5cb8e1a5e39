// The built-in nets without their intermediate matrices.
//
// All 25 nets are the same chain: data, three times a convolution with relu and pooling, a fourth
// convolution with relu, and a fully connected layer that reads the third pool and the fourth
// convolution. The filter banks run as direct convolutions (kernels/direct_convolution.h), two rows
// of the data at a time, with their activations pixel by pixel in a small scratch memory. Only what
// the last layer reads becomes a matrix.
#ifndef FACEFEATURE_LAYERS_DIRECT_FORWARD_H
#define FACEFEATURE_LAYERS_DIRECT_FORWARD_H

#include <cstdint>
#include <vector>

#include "kernels/matrix.h"
#include "layers/conv_layer.h"
#include "layers/data_layer.h"
#include "layers/fc_layer.h"
#include "layers/neuron_layer.h"
#include "layers/pool_layer.h"
#include "net/conv_net.h"
#include "net/forward_plan.h"

namespace facefeature {

class DirectForward : public ForwardPlan {
 public:
  static constexpr int32_t kBanks = 4;

  // A filter bank with what follows it. The layers belong to the net.
  struct Bank {
    ConvLayer* convolution;
    NeuronLayer* neuron;
    MaxPoolLayer* pool;  // null after the last bank
    int32_t shape;       // in kDirectShapes
  };

  // Whether the net is such a chain; if so, the plan's layers are set.
  bool matches(ConvNet& net);

  bool run(std::vector<Matrix*>& dataMatrices) override;
  void complete() override;

 private:
  bool fits(const std::vector<Matrix*>& dataMatrices) const;
  void runBanks(const Matrix& images);
  void markRun(Matrix* images);

  ConvNet* net_ = nullptr;
  DataLayer* data_ = nullptr;
  Bank banks_[kBanks] = {};
  FCLayer* last_ = nullptr;
  Matrix images_;  // of the latest run: what complete() starts from
};

}  // namespace facefeature

#endif

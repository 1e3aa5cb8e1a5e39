// ForwardPlan, a shorter path through a net than from layer to layer.
#ifndef FACEFEATURE_NET_FORWARD_PLAN_H
#define FACEFEATURE_NET_FORWARD_PLAN_H

#include <memory>
#include <vector>

#include "kernels/matrix.h"

namespace facefeature {

class ConvNet;

// Computes the last layer's output of one kind of net, bit-identical to the protocol of the layers
// (net/layer.h), and leaves out what no later layer reads. The difference is not observable:
// Layer::getActivations computes the missing matrices first.
class ForwardPlan {
 public:
  virtual ~ForwardPlan() = default;

  // Runs the net. Returns false, with nothing changed, if the net or the data are not those for
  // which the plan was made: replaced layers, other outputs, matrices of other shapes. Exceptions
  // of layers are passed on.
  virtual bool run(std::vector<Matrix*>& dataMatrices) = 0;

  // Computes the activations that the latest run has left out. The data of that run may already be
  // destroyed.
  virtual void complete() = 0;
};

// A plan for a net that has been built, or null if there is none for its kind. Defined in layers/,
// which knows the types of layers (layers/direct_forward.h).
std::unique_ptr<ForwardPlan> newForwardPlan(ConvNet& net);

}  // namespace facefeature

#endif

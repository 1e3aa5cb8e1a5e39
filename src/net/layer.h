// Layer, the abstract node of a net, and the protocol by which a forward run spreads.
//
// There is no schedule. A layer that has finished notifies its outputs in order; a layer runs
// inside the notification of its last missing input. A run is thus a depth-first walk on one
// thread.
#ifndef FACEFEATURE_NET_LAYER_H
#define FACEFEATURE_NET_LAYER_H

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/matrix.h"

namespace facefeature {

class ConvNet;

// The virtual operations are in the order of their slots, and every subclass keeps it.
class Layer {
 public:
  // Reads the keys type and actsTarget from the section called name of the current document. Like
  // all constructors of layers, it runs while a net is being built, on that thread.
  Layer(ConvNet* owner, const char* name);

  // Accumulates input number inputIndex into the output: scale 0 overwrites it, 1 adds to it.
  virtual void applyInput(int32_t inputIndex, float scale) = 0;

  // Frees activations if the layer owns them. Does not touch other layers.
  virtual ~Layer();

  // Applies the inputs one by one and notifies the output layers. The matrices in inputs are
  // borrowed until the next run. With an actsTarget that input is applied first, whatever its
  // number, so that the output is built on top of it. Throws std::out_of_range for an actsTarget
  // beyond the inputs.
  virtual void runForward(std::vector<Matrix*>& inputs);

  // An input layer has finished. Runs this layer if it was the last one missing.
  virtual void notifyInputReady();

  // Zeroes the counters; precedes every run.
  virtual void resetForward();

  // The output: owned by the layer if actsTarget is negative, else a matrix of another owner, valid
  // for this run only.
  virtual Matrix* getActivations();

  Layer(const Layer&) = delete;
  Layer& operator=(const Layer&) = delete;

  ConvNet* owner;                      // not owned
  std::vector<Layer*> inputLayers;     // not owned, in the order of the key inputs
  std::vector<Layer*> outputLayers;    // not owned, in ascending position in the net
  int32_t receivedInputs;              // inputs that have reported in this run
  int32_t spareCounter;                // zeroed with it and never read
  std::vector<Matrix*> inputMatrices;  // not owned, the inputs of the current run
  Matrix* activations;                 // see getActivations; null with an actsTarget until a run
  int32_t actsTarget;  // -1: an output of its own; else the input that is the output
  std::string name;
  std::string type;  // the key's value; never read

  // Whether the latest run has left out the activations (net/forward_plan.h): getActivations has
  // them computed. Code that reads the field itself finds the values of an earlier run.
  bool isDeferred;
};

}  // namespace facefeature

#endif

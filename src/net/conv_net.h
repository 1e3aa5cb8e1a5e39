// ConvNet, one of the 25 nets: a graph of layers, built from a text and run forward.
#ifndef FACEFEATURE_NET_CONV_NET_H
#define FACEFEATURE_NET_CONV_NET_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "net/forward_plan.h"
#include "net/layer.h"

namespace facefeature {

class ConvNet {
 public:
  // Parses text netIndex (0 to 24) into netDocuments[netIndex], sets currentNetIndex and builds the
  // layers, which read their trained numbers from the model folder. One net at a time in the
  // process.
  //
  // A text that names an unknown type of layer, pooling or neuron prints "Error creating ConvNet: "
  // with the reason and a line end on standard output, and ends the process with status 1. Throws
  // std::out_of_range if the text's lists and counts do not fit each other or the layers, and
  // std::bad_alloc; the layers built so far are then leaked.
  explicit ConvNet(int32_t netIndex);

  // The same for another text instead of the library's own.
  ConvNet(int32_t netIndex, const char* text);
  ~ConvNet();
  ConvNet(const ConvNet&) = delete;
  ConvNet& operator=(const ConvNet&) = delete;

  // Runs the net. dataMatrices are all data sources and belong to the caller; a data layer picks
  // its own. Results are read from the last layer's getActivations. One run at a time for a net;
  // different nets may run in parallel. Exceptions of layers pass through.
  void forward(std::vector<Matrix*>& dataMatrices);

  // Computes the activations that the latest run has left out, if any (net/forward_plan.h).
  // Layer::getActivations calls it.
  void completeForward();

  // Builds the layer for a type, appends it to layers (and to dataLayers) and returns it. Throws
  // the text "Unknown layer type " and the type. Only the constructor calls it.
  Layer* createLayer(const std::string& typeName, const std::string& layerName);

  std::vector<Layer*> layers;      // all layers in the order of LayerNames, owned
  std::vector<Layer*> dataLayers;  // the layers of type data, in the same order

 private:
  void build(int32_t netIndex, const char* text);
  void buildLayer(const std::vector<std::string>& names, const std::string& name);

  std::unique_ptr<ForwardPlan> plan_;  // null for nets other than the built-in ones
};

}  // namespace facefeature

#endif

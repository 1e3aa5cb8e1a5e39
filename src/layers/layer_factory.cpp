// ConvNet::createLayer: the twelve types of layer.
#include "layers/conv_layer.h"
#include "layers/data_layer.h"
#include "layers/eltwise_layers.h"
#include "layers/fc_layer.h"
#include "layers/neuron_layer.h"
#include "layers/pool_layer.h"
#include "layers/response_norm_layer.h"
#include "layers/softmax_layer.h"
#include "net/conv_net.h"

namespace facefeature {
namespace {

Layer* newLayer(ConvNet* net, const std::string& type, const std::string& layerName) {
  const char* name = layerName.c_str();
  if (type == "fc") return new FCLayer(net, name);
  if (type == "conv") return new ConvLayer(net, name);
  if (type == "local") return new LocalUnsharedLayer(net, name);
  if (type == "pool") return createPoolLayer(net, layerName);
  if (type == "rnorm") return new ResponseNormLayer(net, name);
  if (type == "cmrnorm") return new CrossMapResponseNormLayer(net, name);
  if (type == "cnorm") return new ContrastNormLayer(net, name);
  if (type == "softmax") return new SoftmaxLayer(net, name);
  if (type == "eltsum") return new EltwiseSumLayer(net, name);
  if (type == "eltmax") return new EltwiseMaxLayer(net, name);
  if (type == "neuron") return new NeuronLayer(net, name);
  if (type == "data") return new DataLayer(net, name);
  throw std::string("Unknown layer type " + type);
}

}  // namespace

Layer* ConvNet::createLayer(const std::string& typeName, const std::string& layerName) {
  layers.push_back(newLayer(this, typeName, layerName));
  if (typeName == "data") dataLayers.push_back(layers.back());
  return layers.back();
}

}  // namespace facefeature

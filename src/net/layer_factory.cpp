// ConvNet::createLayer: the twelve types of layer.
#include "kernels/conv_layer.h"
#include "kernels/eltwise_layers.h"
#include "kernels/fc_layer.h"
#include "kernels/pool_layer.h"
#include "kernels/response_norm_layer.h"
#include "kernels/softmax_layer.h"
#include "net/conv_net.h"
#include "net/data_layer.h"
#include "net/neuron_layer.h"

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

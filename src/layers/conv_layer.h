// LocalLayer, the geometry of a filter bank, and its two kinds.
#ifndef FACEFEATURE_LAYERS_CONV_LAYER_H
#define FACEFEATURE_LAYERS_CONV_LAYER_H

#include <cstdint>
#include <vector>

#include "layers/weight_layer.h"

namespace facefeature {

// Input and output are activations: one row per sample, which holds one plane for each channel or
// filter, each plane row-major. The planes of one layer are the channels of the next.
//
// Weights are transposed on load: a file's K x filters is stored as filters x K. Within a filter
// the order is channel after channel, row after row.
class LocalLayer : public WeightLayer {
 public:
  LocalLayer(ConvNet* owner, const char* name);
  ~LocalLayer() override;

  // One element per input, from the key of the same name; owned.
  std::vector<int32_t>* padding;  // zero border on each side
  std::vector<int32_t>* stride;
  std::vector<int32_t>* filterSize;  // stored, not read: the kernels derive it from the weights
  std::vector<int32_t>* channels;
  std::vector<int32_t>* imgSize;       // height of the input image
  std::vector<int32_t>* imgPixels;     // stored, not read
  std::vector<int32_t>* filterPixels;  // stored, not read
  int32_t modulesX;                    // output positions along one side
  int32_t modules;                     // modulesX squared
  int32_t filters;                     // stored, not read: the weights have it

 protected:
  // Throws std::out_of_range with the text "invalid vector<T> subscript" if a list that the forward
  // step reads has no entry for this input.
  void checkInput(int32_t inputIndex) const;
};

// Type "conv": filters shared by all output positions (kernels/convolve.h). Inputs add up.
class ConvLayer : public LocalLayer {
 public:
  ConvLayer(ConvNet* owner, const char* name);
  ~ConvLayer() override;
  void applyInput(int32_t inputIndex, float scale) override;
};

// Type "local": separate filters at each output position (kernels/local.h). Of several inputs only
// the last remains.
class LocalUnsharedLayer : public LocalLayer {
 public:
  LocalUnsharedLayer(ConvNet* owner, const char* name);
  ~LocalUnsharedLayer() override;
  void applyInput(int32_t inputIndex, float scale) override;

  Matrix spare;  // empty; nothing uses it
};

}  // namespace facefeature

#endif

// The response normalisation layers, only one of which computes anything.
#ifndef FACEFEATURE_LAYERS_RESPONSE_NORM_LAYER_H
#define FACEFEATURE_LAYERS_RESPONSE_NORM_LAYER_H

#include <cstdint>

#include "net/layer.h"

namespace facefeature {

// Type "rnorm": connected like any layer, but does nothing. Its activations stay 0 x 0, or are the
// input that actsTarget names, unchanged. The fields are the keys of the same names, 0 if missing.
class ResponseNormLayer : public Layer {
 public:
  ResponseNormLayer(ConvNet* owner, const char* name);
  void applyInput(int32_t inputIndex, float scale) override;  // does nothing

  int32_t channels;
  int32_t sizeX;
  float scale;
  float pow;
};

// Type "cmrnorm": normalises the first input across channels (kernels/cross_map_norm.h) and
// overwrites the activations, whatever the arguments. Not usable with an actsTarget.
class CrossMapResponseNormLayer : public ResponseNormLayer {
 public:
  CrossMapResponseNormLayer(ConvNet* owner, const char* name);
  void applyInput(int32_t inputIndex, float scale) override;
};

// Type "cnorm": does nothing, like "rnorm".
class ContrastNormLayer : public ResponseNormLayer {
 public:
  ContrastNormLayer(ConvNet* owner, const char* name);
  ~ContrastNormLayer() override;

  int32_t imgSize;
  Matrix spare;  // empty; nothing uses it
};

}  // namespace facefeature

#endif

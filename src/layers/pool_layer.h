// The pooling layers.
#ifndef FACEFEATURE_LAYERS_POOL_LAYER_H
#define FACEFEATURE_LAYERS_POOL_LAYER_H

#include <cstdint>
#include <string>

#include "net/layer.h"

namespace facefeature {

// The fields are the keys of the same names, 0 if missing; kernels/pooling.h documents them.
class PoolLayer : public Layer {
 public:
  PoolLayer(ConvNet* owner, const char* name);
  ~PoolLayer() override;

  int32_t channels;
  int32_t sizeX;
  int32_t start;
  int32_t stride;
  int32_t outputsX;
  std::string pool;  // the key's text; nothing reads it after construction
};

// Both always pool the first input and overwrite the activations: the arguments of applyInput have
// no effect.
class AvgPoolLayer : public PoolLayer {
 public:
  AvgPoolLayer(ConvNet* owner, const char* name);
  void applyInput(int32_t inputIndex, float scale) override;
};

class MaxPoolLayer : public PoolLayer {
 public:
  MaxPoolLayer(ConvNet* owner, const char* name);
  void applyInput(int32_t inputIndex, float scale) override;
};

// A new layer of the kind that the section's key pool names, "max" or "avg"; owned by the caller.
// Throws the text "Unknown pooling layer type " and the value.
Layer* createPoolLayer(ConvNet* owner, const std::string& sectionName);

}  // namespace facefeature

#endif

// WeightLayer, the base of the layers with trained parameters.
#ifndef FACEFEATURE_LAYERS_WEIGHT_LAYER_H
#define FACEFEATURE_LAYERS_WEIGHT_LAYER_H

#include <vector>

#include "net/layer.h"

namespace facefeature {

// A matrix that layers may share. The record with a null source owns it. A record that was taken
// from another layer only refers to it and never accesses its source again, so layers may be
// destroyed in any order.
struct WeightRef {
  Matrix* matrix;
  WeightRef* source;
};

class WeightLayer : public Layer {
 public:
  // Reads the files that the section names (layers/weight_files.h). If the section has
  // weightSourceLayerIndices, weights come from those layers instead, with matrix numbers from
  // weightSourceMatrixIndices; the layer's own position in the net means the layer itself. Matrices
  // that were read from files then belong to no record and are never freed. Throws
  // std::out_of_range for an index of no layer, of no WeightLayer or of no matrix, and for fewer
  // matrix numbers than layers.
  WeightLayer(ConvNet* owner, const char* name, bool transposeOnLoad);
  ~WeightLayer() override;

  std::vector<WeightRef*> weights;  // owned; entry i belongs to input i; fewer than inputs when a
                                    // file was missing
  WeightRef* biases;                // owned; always owns its matrix, which is empty without a file

 protected:
  // The matrix for an input. Throws std::out_of_range if there is none, as after a missing file:
  // reading past the list would be undefined, and inside the loop over the nets both end the
  // process.
  const Matrix& weightMatrix(int32_t inputIndex) const;

 private:
  WeightRef* sharedRecord(int32_t layerIndex, int32_t matrixIndex) const;
};

}  // namespace facefeature

#endif

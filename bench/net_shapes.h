// The shapes of the nets' layers, from the files in shapes/.
#ifndef FACEFEATURE_BENCH_NET_SHAPES_H
#define FACEFEATURE_BENCH_NET_SHAPES_H

#include <cstdint>
#include <string>
#include <vector>

namespace facefeature_bench {

struct ConvShape {
  std::string name;
  int32_t nets;  // number of nets with this layer
  int32_t channels;
  int32_t imgSize;  // side of the image in pixels
  int32_t filterSize;
  int32_t filters;

  int32_t modulesX() const { return imgSize - filterSize + 1; }
  int32_t modules() const { return modulesX() * modulesX(); }
  int32_t filterWeights() const { return channels * filterSize * filterSize; }
  int32_t imgFloats() const { return channels * imgSize * imgSize; }
};

struct PoolShape {
  std::string name;
  int32_t nets;
  int32_t channels;
  int32_t imgSize;
  int32_t outputsX;

  int32_t imgFloats() const { return channels * imgSize * imgSize; }
  int32_t outFloats() const { return channels * outputsX * outputsX; }
};

struct FcShape {
  std::string name;
  int32_t nets;
  int32_t inputs;
  int32_t outputs;
};

struct NetShapes {
  std::string name;  // file name without extension
  std::vector<ConvShape> convs;
  std::vector<PoolShape> pools;
  std::vector<FcShape> fcs;
};

// The nets of both sizes. Prints an error and ends the program if a file can't be read.
const std::vector<NetShapes>& netShapes();

}  // namespace facefeature_bench

#endif

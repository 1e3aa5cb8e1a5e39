// The 303 files of a model: their names, their contents, and the shapes that the nets need.
//
// This is the only place in the program that knows them; the synthetic model is written from this
// list, and a model folder is checked against it.
#ifndef FACEFEATURE_TOOLS_MODEL_MODEL_FILES_H
#define FACEFEATURE_TOOLS_MODEL_MODEL_FILES_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace facefeature_tools {

enum class ModelFileKind {
  kPatchMean,        // header: the count of floats
  kFeatureMean,      // no header
  kSelfProjection,   // no header
  kCrossProjection,  // no header
  kWeights,          // header: rows, cols
  kBiases            // header: rows, cols
};

struct ModelFile {
  std::string name;
  ModelFileKind kind;
  int32_t rows;  // floats of a patch mean: planes x side x side, with cols 1
  int32_t cols;

  // Weights only: this many consecutive rows belong to one window of one input plane: the pixels of
  // a filter, or a whole plane for the last layer.
  int32_t window;
  // Weights only: number of products that are summed for one output, over all inputs of the layer.
  int32_t fanIn;
  // Weights only: whether the layer reads the patch itself.
  bool readsPixels;
  // Patch means only.
  int32_t planes;
  int32_t side;

  size_t floats() const { return static_cast<size_t>(rows) * static_cast<size_t>(cols); }
  // Number of 32-bit values before the floats: 0, 1 or 2.
  size_t headerWords() const;
  size_t bytes() const { return 4 * (headerWords() + floats()); }
};

// All 303, in the order in which the library opens them.
const std::vector<ModelFile>& modelFiles();

// The model folder that a user names, as an absolute path without links. Throws Failure (kBadModel)
// if it can't be read.
std::filesystem::path canonicalModelFolder(const std::string& folder);

}  // namespace facefeature_tools

#endif

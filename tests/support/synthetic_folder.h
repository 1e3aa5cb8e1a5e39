// A whole model folder of made-up numbers: the 303 files in the shapes that the nets need.
//
// The numbers come from a seed and the name of their file alone, so that a test which spoils one
// file can write it anew. They are scaled for nets that work: activations keep their size from
// layer to layer, each row of rectified values is a mixture of zeros and others, and every bias and
// mean is large enough that leaving it out shows.
#ifndef FACEFEATURE_TESTS_SUPPORT_SYNTHETIC_FOLDER_H
#define FACEFEATURE_TESTS_SUPPORT_SYNTHETIC_FOLDER_H

#include <cstdint>
#include <string>
#include <vector>

namespace facefeature_test {

enum class ModelFileForm {
  kMean,    // a count, then floats
  kRaw,     // floats alone
  kMatrix,  // rows, columns, then floats row by row
};

struct ModelFile {
  std::string name;
  ModelFileForm form;
  int32_t rows;
  int32_t cols;
  float middle;  // the numbers lie within `spread` of it
  float spread;
};

// All files, in the order in which a creation reads them.
const std::vector<ModelFile>& modelFiles();

// Throws std::out_of_range for a name that no file has.
const ModelFile& modelFile(const std::string& name);

// The floats of a file.
std::vector<float> syntheticNumbers(const ModelFile& file, uint32_t seed);

// Both write into an existing folder, over what is there, and throw std::runtime_error when they
// can't.
void writeSyntheticFile(const std::string& folder, const ModelFile& file, uint32_t seed);
void writeSyntheticModel(const std::string& folder, uint32_t seed);

}  // namespace facefeature_test

#endif

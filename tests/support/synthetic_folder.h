// A complete model folder of generated numbers: the 303 files in the shapes that the nets need.
//
// The numbers depend only on a seed and the name of their file, so a test that corrupts one file
// can rewrite it. They are scaled so that the nets work: activations keep their magnitude from
// layer to layer, each row of rectified values has zeros and other values, and every bias and mean
// is large enough that omitting it is detected.
#ifndef FACEFEATURE_TESTS_SUPPORT_SYNTHETIC_FOLDER_H
#define FACEFEATURE_TESTS_SUPPORT_SYNTHETIC_FOLDER_H

#include <cstdint>
#include <string>
#include <vector>

namespace facefeature_test {

enum class ModelFileFormat {
  kMean,    // a count, then floats
  kRaw,     // only floats
  kMatrix,  // rows, columns, then floats row by row
};

struct ModelFile {
  std::string name;
  ModelFileFormat format;
  int32_t rows;
  int32_t cols;
  float middle;  // the numbers are within `spread` of it
  float spread;
};

// All files, in the order in which a creation reads them.
const std::vector<ModelFile>& modelFiles();

// Throws std::out_of_range for a name that no file has.
const ModelFile& modelFile(const std::string& name);

// The floats of a file.
std::vector<float> syntheticNumbers(const ModelFile& file, uint32_t seed);

// Both write into an existing folder, overwrite existing files, and throw std::runtime_error on
// failure.
void writeSyntheticFile(const std::string& folder, const ModelFile& file, uint32_t seed);
void writeSyntheticModel(const std::string& folder, uint32_t seed);

}  // namespace facefeature_test

#endif

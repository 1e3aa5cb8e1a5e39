// A reader of model folders for the oracles.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_MODEL_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_MODEL_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace reference {

struct StoredMatrix {
  int32_t rows = 0;
  int32_t cols = 0;
  std::vector<float> values;  // row by row, as in the file
};

struct FilterBank {
  StoredMatrix weights;  // windows x filters
  StoredMatrix biases;   // may be empty: the bank then adds none
};

struct NetNumbers {
  std::array<FilterBank, 4> banks;
  std::array<StoredMatrix, 2> flatWeights;
  StoredMatrix flatBiases;
};

struct ModelNumbers {
  std::vector<float> patchMeans;  // 25 slots of 9075 floats; 0 past the contents of the files
  std::vector<float> featureMean;
  std::vector<float> selfColumns;  // 8000 columns of 500
  std::vector<float> crossColumns;
  std::vector<NetNumbers> nets;
};

// Throws std::runtime_error for a file that is missing or too short.
StoredMatrix readStoredMatrix(const std::string& folder, const std::string& name);
ModelNumbers readModel(const std::string& folder);

}  // namespace reference

#endif

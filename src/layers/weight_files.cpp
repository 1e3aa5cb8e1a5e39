#include "layers/weight_files.h"

#include <cstdio>
#include <fstream>
#include <memory>

#include "config/layer_parameters.h"
#include "config/net_documents.h"
#include "platform/model_directory.h"
#include "platform/platform.h"

namespace facefeature {
namespace {

// Opens a file of the model folder, or prints that it can't be opened: a host hears nothing else of
// it.
bool openLayerFile(const std::string& fileName, std::ifstream& stream) {
  const std::string path = ModelDirectory + fileName;
  if (openSharedForReading(stream, path)) return true;
  std::printf("load %s failed\n", path.c_str());
  return false;
}

Matrix* readMatrix(std::ifstream& stream, bool transpose) {
  std::unique_ptr<Matrix> matrix(new Matrix());
  matrix->readFrom(stream);
  stream.close();
  return transpose ? matrix->transposed() : matrix.release();
}

}  // namespace

std::vector<Matrix*>* loadWeightMatrices(const std::string& name, bool transposeOnLoad) {
  std::string fileNames;
  currentSection(name).getString("weights", fileNames);
  auto matrices = std::make_unique<std::vector<Matrix*>>();
  std::ifstream stream;
  for (const std::string& fileName : splitList(fileNames)) {
    if (!openLayerFile(fileName, stream)) continue;
    matrices->push_back(readMatrix(stream, transposeOnLoad));
  }
  return matrices.release();
}

Matrix* loadBiasMatrix(const std::string& name) {
  std::string fileName;
  currentSection(name).getString("biases", fileName);
  std::unique_ptr<Matrix> matrix(new Matrix());
  std::ifstream stream;
  if (openLayerFile(fileName, stream)) matrix->readFrom(stream);
  return matrix.release();
}

}  // namespace facefeature

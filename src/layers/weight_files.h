// Reads a layer's trained numbers from the model folder.
#ifndef FACEFEATURE_LAYERS_WEIGHT_FILES_H
#define FACEFEATURE_LAYERS_WEIGHT_FILES_H

#include <string>
#include <vector>

#include "kernels/matrix.h"

namespace facefeature {

// The matrices of the files that the key weights of the section called name lists, in that order,
// on the heap like the list, owned by the caller. A file that can't be opened prints "load PATH
// failed" on standard output and is left out, so that later ones move up. With transposeOnLoad each
// is transposed, row-major. Throws std::bad_alloc.
std::vector<Matrix*>* loadWeightMatrices(const std::string& name, bool transposeOnLoad);

// The matrix of the one file that the key biases names; never null. Empty, and the same line is
// printed, if the file can't be opened; a missing key names the folder itself, which can't be.
Matrix* loadBiasMatrix(const std::string& name);

}  // namespace facefeature

#endif

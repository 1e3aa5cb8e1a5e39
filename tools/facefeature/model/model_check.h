// Is a folder a whole model? The library trusts its files as they stand, so this is asked first.
#ifndef FACEFEATURE_TOOLS_MODEL_MODEL_CHECK_H
#define FACEFEATURE_TOOLS_MODEL_MODEL_CHECK_H

#include <string>
#include <vector>

#include "base/failure.h"

namespace facefeature_tools {

struct ModelFault {
  std::string file;   // its name in the folder
  std::string wrong;  // words that complete "the file ..."
};

enum class CheckDepth {
  kShapes,   // there, readable, headers and sizes as the nets need them; reads the headers only
  kNumbers,  // and all floats are finite
};

// The faults of a model folder, at most one a file, in the order of modelFiles(). Empty for a good
// model. Other files in the folder are of no concern. Throws Failure with the given code and advice
// when the folder is none or can't be read.
std::vector<ModelFault> checkModel(const std::string& folder, CheckDepth depth,
                                   ExitCode codeForFolder, const std::string& remedy);

}  // namespace facefeature_tools

#endif

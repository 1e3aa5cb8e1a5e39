// Checks whether a folder is a complete model. The library trusts its files, so this comes first.
#ifndef FACEFEATURE_TOOLS_MODEL_MODEL_CHECK_H
#define FACEFEATURE_TOOLS_MODEL_MODEL_CHECK_H

#include <string>
#include <vector>

#include "base/failure.h"

namespace facefeature_tools {

struct ModelFault {
  std::string file;   // its name in the folder
  std::string wrong;  // a text that completes "the file ..."
};

enum class CheckDepth {
  kShapes,   // present, readable, headers and sizes as the nets need them; reads the headers only
  kNumbers,  // and all floats are finite
};

// The errors of a model folder, at most one per file, in the order of modelFiles(). Empty for a
// good model. Other files in the folder are ignored. Throws Failure with the given code and advice
// if the folder is not a folder or can't be read.
std::vector<ModelFault> checkModel(const std::string& folder, CheckDepth depth,
                                   ExitCode codeForFolder, const std::string& remedy);

}  // namespace facefeature_tools

#endif

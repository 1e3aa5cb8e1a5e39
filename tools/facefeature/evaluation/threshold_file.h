// Files of thresholds that an evaluation found, with the model to which they apply.
#ifndef FACEFEATURE_TOOLS_EVALUATION_THRESHOLD_FILE_H
#define FACEFEATURE_TOOLS_EVALUATION_THRESHOLD_FILE_H

#include <string>

#include "base/sha256.h"
#include "evaluation/evaluation.h"

namespace facefeature_tools {

// Writes the thresholds of an evaluation. Throws Failure (kFailed).
void writeThresholdFile(const std::string& path, const Evaluation& evaluation);

struct FileThreshold {
  std::string path;  // of the file
  std::string name;  // of the threshold, for example "1e-3"
  Digest model;      // fingerprint of the model to which it applies
  float threshold;
};

// argument is FILE for the default threshold of the file, or FILE#NAME for a named one. An existing
// file with the whole argument as its name takes precedence. Throws Failure (kBadInput).
FileThreshold readThreshold(const std::string& argument);

// Throws Failure (kBadModel) that names both fingerprints if the gallery with this path is of
// another model than the threshold.
void requireModelOf(const FileThreshold& threshold, const std::string& galleryPath,
                    const Digest& galleryModel);

}  // namespace facefeature_tools

#endif

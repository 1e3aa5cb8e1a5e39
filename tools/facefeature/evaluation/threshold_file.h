// Thresholds that an evaluation found, in a file that names the model that they are for.
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
  std::string name;  // of the threshold, for instance "1e-3"
  Digest model;      // fingerprint of the model that it is for
  float threshold;
};

// argument is FILE for the default threshold of the file, or FILE#NAME for the one of this name. A
// file of this whole name goes first. Throws Failure (kBadInput).
FileThreshold readThreshold(const std::string& argument);

// Throws Failure (kBadModel) that names both fingerprints if features of the model in the gallery
// with this path are not those that the threshold is for.
void requireModelOf(const FileThreshold& threshold, const std::string& galleryPath,
                    const Digest& galleryModel);

}  // namespace facefeature_tools

#endif

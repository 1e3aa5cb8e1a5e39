// Identifies a model: one number for a whole folder of model files.
#ifndef FACEFEATURE_TOOLS_MODEL_MODEL_FINGERPRINT_H
#define FACEFEATURE_TOOLS_MODEL_MODEL_FINGERPRINT_H

#include <string>

#include "base/sha256.h"

namespace facefeature_tools {

// SHA-256 over the 303 files in the order of modelFiles(), each preceded by its name, a NUL byte
// and its length in bytes as a 64-bit number, so that moving bytes from one file to the next
// changes the fingerprint. Other files of the folder are ignored. Galleries store this number, so
// the order and the framing never change.
//
// Throws Failure (kBadModel) for a file that can't be read. Whether the files are a good model is
// checked by checkModel.
Digest modelFingerprint(const std::string& folder);

// 64 digits of lower case hexadecimal, as sha256sum prints them.
std::string hexText(const Digest& digest);

}  // namespace facefeature_tools

#endif

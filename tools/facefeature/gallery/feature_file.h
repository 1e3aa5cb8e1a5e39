// Feature files: 502 floats, little-endian, 2008 bytes and nothing else.
#ifndef FACEFEATURE_TOOLS_GALLERY_FEATURE_FILE_H
#define FACEFEATURE_TOOLS_GALLERY_FEATURE_FILE_H

#include <facefeature/facefeature.h>

#include <string>

namespace facefeature_tools {

// Throws Failure (kFailed) if the file can't be written.
void writeFeatureFile(const std::string& path, const FeatureVector& feature);

// Throws Failure (kBadInput) if the file can't be read or does not have 2008 bytes. The floats are
// not validated.
FeatureVector readFeatureFile(const std::string& path);

}  // namespace facefeature_tools

#endif

// Reads the engine's own model files: the patch means and the three raw float files.
#ifndef FACEFEATURE_ENGINE_MODEL_FILES_H
#define FACEFEATURE_ENGINE_MODEL_FILES_H

#include <cstdint>
#include <fstream>
#include <string>

namespace facefeature {

// ModelDirectory, a separator, and the name: the separator is doubled in these paths, unlike in
// those of the layers' files. A path longer than kLongestEngineFilePath ends the process.
std::string engineFilePath(const std::string& name);

// Reads file "0-n-0", n from 1 to 25, into slot n - 1 of patchMeans. The file's own count says how
// many floats follow: fewer leave the rest of the slot unchanged, more continue into the next slot,
// and none goes beyond the end of the last slot. Returns false if the file can't be opened.
bool readPatchMean(std::ifstream& stream, int32_t n);

// Reads floats into buffer from the file's start; floats missing at its end are 0. Returns false if
// the file can't be opened.
bool readRawFloats(std::ifstream& stream, const std::string& name, float* buffer, int32_t count);

}  // namespace facefeature

#endif

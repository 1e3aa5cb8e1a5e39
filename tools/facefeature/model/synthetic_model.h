// A model made of random numbers, for trying the library where no trained model is at hand.
#ifndef FACEFEATURE_TOOLS_MODEL_SYNTHETIC_MODEL_H
#define FACEFEATURE_TOOLS_MODEL_SYNTHETIC_MODEL_H

#include <cstdint>
#include <string>

namespace facefeature_tools {

// The sentence that everybody who makes or meets such a model has to read.
extern const char kSyntheticWarning[];

// Writes the 303 files, and beside them a README with kSyntheticWarning. The folder is made if it
// is not there. The bytes depend on the seed alone, not on the platform, the compiler or the
// processor.
//
// Throws Failure: kWrongUsage when the folder holds anything and is not a synthetic model's,
// kFailed when something can't be written.
void writeSyntheticModel(const std::string& folder, uint64_t seed);

}  // namespace facefeature_tools

#endif

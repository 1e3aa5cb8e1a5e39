// A model of random numbers, for trying the library without a trained model.
#ifndef FACEFEATURE_TOOLS_MODEL_SYNTHETIC_MODEL_H
#define FACEFEATURE_TOOLS_MODEL_SYNTHETIC_MODEL_H

#include <cstdint>
#include <string>

namespace facefeature_tools {

// The warning that everyone who creates or encounters such a model must read.
extern const char kSyntheticWarning[];

// Writes the 303 files and a README with kSyntheticWarning. Creates the folder if it does not
// exist. The bytes depend only on the seed, not on the platform, the compiler or the processor.
//
// Throws Failure: kWrongUsage if the folder is not empty and not a synthetic model's, kFailed if
// something can't be written.
void writeSyntheticModel(const std::string& folder, uint64_t seed);

}  // namespace facefeature_tools

#endif

// The folder of the model files.  [STATE]
#ifndef FACEFEATURE_PLATFORM_MODEL_DIRECTORY_H
#define FACEFEATURE_PLATFORM_MODEL_DIRECTORY_H

#include <string>

namespace facefeature {

// Both are set when the library is loaded, in this order, and never change after that.
//
// The temporary folder without its last separator and what follows it.
extern const std::string tempBasePath;

// tempBasePath and "/~kwplugintmp~/", with the separators of the platform. Ends in one.
extern const std::string ModelDirectory;

// The text before the last separator of a temporary folder. If there is no separator, ends the
// process (abortOnFailedCheck), as for a temporary folder that is too long for the system's buffer.
std::string withoutLastComponent(const std::string& folder);

}  // namespace facefeature

#endif

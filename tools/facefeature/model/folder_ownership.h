// Finds out who else could change a model. The library trusts its files, so anyone who can write to
// them decides which faces are similar.
#ifndef FACEFEATURE_TOOLS_MODEL_FOLDER_OWNERSHIP_H
#define FACEFEATURE_TOOLS_MODEL_FOLDER_OWNERSHIP_H

#include <cstdint>
#include <string>
#include <vector>

namespace facefeature_tools {

// Several paths with the same problem are reported as one.
struct OwnershipWarning {
  std::string path;     // of the first of them
  std::string warning;  // a text that completes "the file ..."
  size_t others;        // how many more there are
};

// The user id of this process.
uint32_t callingUser();

// Everything that someone other than the caller and the administrator could change: the model
// folder, the 303 files in it, and the temporary folder above it if the library would read this
// very folder. Each must belong to one of those two and must not be writable by a group or by all.
// A link must belong to one of the two as well, and its target and the folder of its target are
// checked in the same way. Missing files are not reported, nor are folders further up, and access
// control lists beyond owner, group and all are not read.
//
// The result describes this moment only: someone who could write before may have done so.
//
// On Windows nothing is checked yet, and nothing is reported.
std::vector<OwnershipWarning> ownershipWarnings(const std::string& folder, uint32_t caller);

}  // namespace facefeature_tools

#endif

// Who else could change a model? The library trusts the files as they lie there, so that whoever
// can write to them decides which faces are alike.
#ifndef FACEFEATURE_TOOLS_MODEL_FOLDER_OWNERSHIP_H
#define FACEFEATURE_TOOLS_MODEL_FOLDER_OWNERSHIP_H

#include <cstdint>
#include <string>
#include <vector>

namespace facefeature_tools {

// Several places with one and the same doubt are told as one.
struct OwnershipDoubt {
  std::string path;   // of the first of them
  std::string doubt;  // words that complete "the file ..."
  size_t others;      // how many more there are
};

// The user of this process, as the system counts users.
uint32_t callingUser();

// What somebody other than the caller and the administrator could change: the model folder, the 303
// files in it, and the temporary folder above it where the library would read this very folder.
// Each must belong to one of those two and must not be open for writing to a group or to all. A
// link must belong to one of the two as well, and what it leads to is held to the same, with the
// folder that it lies in. What is missing raises no doubt, nor do folders further up, and lists of
// access rights beyond owner, group and all are not read.
//
// The answer is one of this moment: who could write a moment ago may have done so.
//
// On Windows there is no answer yet, and no doubt.
std::vector<OwnershipDoubt> ownershipDoubts(const std::string& folder, uint32_t caller);

}  // namespace facefeature_tools

#endif

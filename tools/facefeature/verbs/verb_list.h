// All verbs of the program.
#ifndef FACEFEATURE_TOOLS_VERBS_VERB_LIST_H
#define FACEFEATURE_TOOLS_VERBS_VERB_LIST_H

#include <map>
#include <string>
#include <vector>

#include "verbs/verb.h"

namespace facefeature_tools {

// In the order of --help. All names differ.
const std::vector<const Verb*>& allVerbs();

// The help text of each group of verbs, by the group's name.
const std::map<std::string, std::string>& verbGroups();

}  // namespace facefeature_tools

#endif

// A verb of the command line.
//
// To add one, write verb_<name>.h and verb_<name>.cpp and add the verb to verb_list.cpp. The build
// finds the files. Help texts, manual pages and completion are generated from the verb itself.
#ifndef FACEFEATURE_TOOLS_VERBS_VERB_H
#define FACEFEATURE_TOOLS_VERBS_VERB_H

#include <functional>

#include "base/failure.h"
#include "verbs/options.h"

namespace facefeature_tools {

// Runs a verb and returns the exit code of the program. Throws Failure.
using VerbRun = std::function<ExitCode()>;

struct Verb {
  const char* name;  // as the user types it; "gallery info" is the verb info of the group gallery
  const char* help;  // one line; an empty one hides the verb in --help and in messages
  // Adds the arguments and options, and returns the function to call if the user names this verb.
  // That function owns the variables that the options set.
  VerbRun (*define)(Options& options);
};

}  // namespace facefeature_tools

#endif

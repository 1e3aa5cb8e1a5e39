#ifndef FACEFEATURE_TOOLS_VERBS_VERB_EVALUATE_H
#define FACEFEATURE_TOOLS_VERBS_VERB_EVALUATE_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature evaluate": measures how well scores distinguish the people of a list. Prints the
// figures as CSV and optionally writes report files.
extern const Verb kEvaluateVerb;

}  // namespace facefeature_tools

#endif

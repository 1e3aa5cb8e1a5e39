#ifndef FACEFEATURE_TOOLS_VERBS_VERB_EVALUATE_H
#define FACEFEATURE_TOOLS_VERBS_VERB_EVALUATE_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature evaluate": measures how well scores distinguish people whom a list names. Prints the
// figures as CSV and writes the report files, if they are asked for.
extern const Verb kEvaluateVerb;

}  // namespace facefeature_tools

#endif

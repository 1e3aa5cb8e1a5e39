#ifndef FACEFEATURE_TOOLS_VERBS_VERB_CLUSTER_H
#define FACEFEATURE_TOOLS_VERBS_VERB_CLUSTER_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature cluster": groups the rows of a gallery by person, as far as scores allow. Prints a
// table id,cluster, and optionally writes a page with the photographs of each cluster.
extern const Verb kClusterVerb;

}  // namespace facefeature_tools

#endif

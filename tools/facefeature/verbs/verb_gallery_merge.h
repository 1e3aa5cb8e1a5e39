#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_MERGE_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_MERGE_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature gallery merge": joins galleries, in the order of a list or in the given order.
extern const Verb kGalleryMergeVerb;

}  // namespace facefeature_tools

#endif

#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_REMOVE_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_REMOVE_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature gallery remove": removes rows by their ids or by a pattern.
extern const Verb kGalleryRemoveVerb;

}  // namespace facefeature_tools

#endif

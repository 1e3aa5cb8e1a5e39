#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_INFO_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_INFO_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature gallery info": prints the properties of a gallery, or its ids, one per line.
extern const Verb kGalleryInfoVerb;

}  // namespace facefeature_tools

#endif

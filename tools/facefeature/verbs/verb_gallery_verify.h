#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_VERIFY_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_VERIFY_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature gallery verify": compares every block of a gallery with its digest.
extern const Verb kGalleryVerifyVerb;

}  // namespace facefeature_tools

#endif

#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_ADD_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_ADD_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature gallery add": adds features to a gallery, or creates one from them.
extern const Verb kGalleryAddVerb;

}  // namespace facefeature_tools

#endif

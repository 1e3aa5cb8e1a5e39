#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_COMPACT_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_COMPACT_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature gallery compact": rewrites a gallery without the bytes of removed rows.
extern const Verb kGalleryCompactVerb;

}  // namespace facefeature_tools

#endif

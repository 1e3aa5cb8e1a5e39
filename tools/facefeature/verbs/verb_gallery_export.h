#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_EXPORT_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_EXPORT_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature gallery export": writes the features of a gallery in a format for other programs.
extern const Verb kGalleryExportVerb;

}  // namespace facefeature_tools

#endif

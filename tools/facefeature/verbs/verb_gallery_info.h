#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_INFO_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_INFO_H

#include <string>

#include "base/failure.h"

namespace facefeature_tools {

constexpr char kGalleryInfoVerb[] = "gallery info";

struct GalleryInfoRequest {
  std::string gallery;
  bool ids = false;
};

// "facefeature gallery info": prints what a gallery says of itself, or its ids, one a line.
ExitCode runGalleryInfo(const GalleryInfoRequest& request);

}  // namespace facefeature_tools

#endif

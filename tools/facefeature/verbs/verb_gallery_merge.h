#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_MERGE_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_MERGE_H

#include <string>
#include <vector>

#include "base/failure.h"

namespace facefeature_tools {

constexpr char kGalleryMergeVerb[] = "gallery merge";

struct GalleryMergeRequest {
  std::vector<std::string> galleries;
  std::string output;
  std::string list;  // empty: rows as they come
};

// "facefeature gallery merge": one gallery of several, in the order of a list or as they come.
ExitCode runGalleryMerge(const GalleryMergeRequest& request);

}  // namespace facefeature_tools

#endif

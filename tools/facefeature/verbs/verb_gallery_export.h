#ifndef FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_EXPORT_H
#define FACEFEATURE_TOOLS_VERBS_VERB_GALLERY_EXPORT_H

#include <string>

#include "base/failure.h"

namespace facefeature_tools {

constexpr char kGalleryExportVerb[] = "gallery export";

struct GalleryExportRequest {
  std::string gallery;
  std::string output;  // its ending names the format: .npy, .csv or .jsonl
};

// "facefeature gallery export": the features of a gallery in a format that other programs read.
ExitCode runGalleryExport(const GalleryExportRequest& request);

}  // namespace facefeature_tools

#endif

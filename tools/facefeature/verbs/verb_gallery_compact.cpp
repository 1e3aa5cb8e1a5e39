#include "verbs/verb_gallery_compact.h"

#include <memory>
#include <string>

#include "base/file_lock.h"
#include "gallery/gallery_change.h"

namespace facefeature_tools {
namespace {

VerbRun define(Options& options) {
  auto path = std::make_shared<std::string>();
  options.add("GALLERY", *path, "Gallery file").required();
  return [path] {
    const FileLock lock(*path);
    rewriteGallery(Gallery(*path), {}, {});
    return kDone;
  };
}

}  // namespace

const Verb kGalleryCompactVerb = {
    "gallery compact", "Rewrite a gallery in one piece, without removed features", define};

}  // namespace facefeature_tools

#include "verbs/verb_gallery_info.h"

#include <memory>
#include <string>
#include <string_view>

#include "base/standard_output.h"
#include "base/text_pattern.h"
#include "gallery/gallery_file.h"
#include "gallery/gallery_layout.h"
#include "model/model_fingerprint.h"

namespace facefeature_tools {
namespace {

struct GalleryInfoRequest {
  std::string gallery;
  bool ids = false;
  std::string pattern = "*";  // of the ids to print
};

ExitCode runGalleryInfo(const GalleryInfoRequest& request) {
  const Gallery gallery(request.gallery);
  if (request.ids) {
    for (size_t row = 0; row < gallery.count(); ++row) {
      const std::string_view id = gallery.id(row);
      if (matchesPattern(request.pattern, id)) printData(std::string(id) + "\n");
    }
  } else {
    const GalleryOrigin& origin = gallery.origin();
    printData("version: " + std::to_string(gallery.version()) + "\n");
    printData("count: " + std::to_string(gallery.count()) + "\n");
    printData("floats: " + std::to_string(kFeatureFloats) + "\n");
    printData("model: " + hexText(origin.model) + "\n");
    printData("library: " + origin.libraryVersion + "\n");
    printData("blas core: " + origin.blasCore + "\n");
    printData("segments: " + std::to_string(gallery.segments().size()) + "\n");
    printData("removed: " + std::to_string(gallery.removedCount()) + "\n");
  }
  finishData();
  return kDone;
}

VerbRun define(Options& options) {
  auto request = std::make_shared<GalleryInfoRequest>();
  options.add("GALLERY", request->gallery, "Gallery file").required();
  options.addFlag("--ids", request->ids, "Print its ids instead, one per line");
  options
      .add("--match", request->pattern,
           "With --ids, only those that match: * is any text, ? is one character")
      .valueName("PATTERN");
  return [request] { return runGalleryInfo(*request); };
}

}  // namespace

const Verb kGalleryInfoVerb = {"gallery info", "Print the header of a gallery", define};

}  // namespace facefeature_tools

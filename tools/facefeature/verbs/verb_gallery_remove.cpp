#include "verbs/verb_gallery_remove.h"

#include <algorithm>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/failure.h"
#include "base/file_lock.h"
#include "base/text_pattern.h"
#include "gallery/gallery_change.h"

namespace facefeature_tools {
namespace {

struct GalleryRemoveRequest {
  std::string gallery;
  std::vector<std::string> ids;
  std::string pattern;
};

std::vector<size_t> rowsOf(const GalleryRemoveRequest& request, const Gallery& gallery) {
  const auto byId = rowsById(gallery);
  std::vector<size_t> rows;
  for (const std::string& id : request.ids) {
    const auto found = byId.find(id);
    if (found == byId.end()) {
      throw Failure(kBadInput, request.gallery, "has no feature with the id " + id,
                    "\"facefeature gallery info --ids\" prints its ids");
    }
    rows.push_back(found->second);
  }
  if (!request.pattern.empty()) {
    const size_t named = rows.size();
    for (size_t row = 0; row < gallery.count(); ++row) {
      if (matchesPattern(request.pattern, gallery.id(row))) rows.push_back(row);
    }
    if (rows.size() == named) {
      throw Failure(kBadInput, request.gallery, "has no id that matches " + request.pattern,
                    "\"facefeature gallery info --ids\" prints its ids");
    }
  }
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  return rows;
}

ExitCode runGalleryRemove(const GalleryRemoveRequest& request) {
  if (request.ids.empty() && request.pattern.empty()) {
    throw Failure(kWrongUsage, request.gallery, "no id is given", "Name ids, or give --match");
  }
  const FileLock lock(request.gallery);
  Gallery gallery(request.gallery);
  const std::vector<size_t> removed = rowsOf(request, gallery);
  changeGallery(std::move(gallery), removed, {});
  return kDone;
}

VerbRun define(Options& options) {
  auto request = std::make_shared<GalleryRemoveRequest>();
  options.add("GALLERY", request->gallery, "Gallery file").required();
  options.add("ID", request->ids, "Ids to remove");
  options
      .add("--match", request->pattern,
           "Remove ids that match a pattern: * is any text, ? one character")
      .valueName("PATTERN");
  return [request] { return runGalleryRemove(*request); };
}

}  // namespace

const Verb kGalleryRemoveVerb = {"gallery remove", "Remove features from a gallery", define};

}  // namespace facefeature_tools

#include "verbs/verb_gallery_merge.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/file_lock.h"
#include "batch/photo_list.h"
#include "gallery/gallery_file.h"

namespace facefeature_tools {
namespace {

struct GalleryMergeRequest {
  std::vector<std::string> galleries;
  std::string output;
  std::string list;  // empty: rows in the order of the galleries
};

struct Source {
  const Gallery* gallery;
  size_t row;
};

using Galleries = std::vector<std::unique_ptr<const Gallery>>;

// The source of each id, and the ids in the order of the galleries.
struct Rows {
  std::unordered_map<std::string, Source> sources;
  std::vector<std::string> ids;
};

Galleries openGalleries(const std::vector<std::string>& paths) {
  Galleries galleries;
  for (const std::string& path : paths) {
    galleries.push_back(std::make_unique<const Gallery>(path));
    requireSameModel(*galleries.front(), *galleries.back());
  }
  return galleries;
}

Rows rowsOf(const Galleries& galleries) {
  Rows rows;
  for (const auto& gallery : galleries) {
    for (size_t row = 0; row < gallery->count(); ++row) {
      const std::string id(gallery->id(row));
      const auto [found, isNew] = rows.sources.insert({id, {gallery.get(), row}});
      if (!isNew) {
        throw Failure(kBadInput, found->second.gallery->path() + ", " + gallery->path(),
                      "both have the id " + id, "Give each photograph a unique id");
      }
      rows.ids.push_back(id);
    }
  }
  return rows;
}

// The ids in the order of the list. An id that no gallery has is a photograph that failed.
std::vector<std::string> idsInOrder(const std::string& listPath, const Rows& rows) {
  std::vector<std::string> ids;
  for (const PhotoEntry& entry : readPhotoList(listPath)) {
    if (rows.sources.count(entry.id) != 0) ids.push_back(entry.id);
  }
  if (ids.size() != rows.ids.size()) {
    throw Failure(kBadInput, listPath,
                  "lacks " + std::to_string(rows.ids.size() - ids.size()) +
                      " of the ids that the galleries hold",
                  "Name the list that the galleries were made from");
  }
  return ids;
}

ExitCode runGalleryMerge(const GalleryMergeRequest& request) {
  const Galleries galleries = openGalleries(request.galleries);
  const Rows rows = rowsOf(galleries);
  const std::vector<std::string> ids =
      request.list.empty() ? rows.ids : idsInOrder(request.list, rows);

  GalleryOrigin origin = galleries.front()->origin();
  for (const auto& gallery : galleries) origin = joinedOrigin(origin, gallery->origin());
  if (origin.blasCore != galleries.front()->origin().blasCore) {
    say(kGalleryMergeVerb.name, request.output +
                                    ": warning: features from processors of several kinds (" +
                                    origin.blasCore + ") differ in their last digits.");
  }
  const FileLock lock(request.output);
  GalleryWriter writer(request.output, origin, ids);
  for (const std::string& id : ids) {
    const Source& source = rows.sources.at(id);
    writer.add(source.gallery->feature(source.row));
  }
  writer.finish();
  return kDone;
}

VerbRun define(Options& options) {
  auto request = std::make_shared<GalleryMergeRequest>();
  options.add("GALLERY", request->galleries, "Gallery files, in order").required();
  options.add("-o,--output", request->output, "Gallery file to write (required)")
      .required()
      .valueName("GALLERY");
  options
      .add("--list", request->list,
           "Put the rows in the order of this list instead of that of the galleries")
      .valueName("FILE");
  return [request] { return runGalleryMerge(*request); };
}

}  // namespace

const Verb kGalleryMergeVerb = {"gallery merge", "Join galleries into one", define};

}  // namespace facefeature_tools

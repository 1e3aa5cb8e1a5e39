#include "verbs/verb_gallery_add.h"

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <unordered_set>
#include <utility>
#include <vector>

#include "base/failure.h"
#include "base/file_lock.h"
#include "base/identifier.h"
#include "gallery/gallery_change.h"
#include "verbs/feature_inputs.h"

namespace facefeature_tools {
namespace {

struct GalleryAddRequest {
  std::string gallery;
  std::vector<std::string> sources;
  std::string id;  // empty: the ids of the sources
  bool replaces = false;
  PhotoOptions photo;
};

std::vector<std::string> idsOf(const GalleryAddRequest& request, const FeatureInputs& inputs) {
  if (!request.id.empty() && inputs.count() != 1) {
    throw Failure(kWrongUsage, "--id " + request.id,
                  "names one feature, and " + std::to_string(inputs.count()) + " are given",
                  "Name one");
  }
  std::vector<std::string> ids;
  std::unordered_set<std::string> seen;
  for (size_t i = 0; i < inputs.count(); ++i) {
    ids.push_back(request.id.empty() ? inputs.id(i) : request.id);
    const std::string fault = identifierFault(ids.back());
    if (!fault.empty()) {
      throw Failure(kBadInput, ids.back(), "the id " + fault, "Give it another with --id");
    }
    if (!seen.insert(ids.back()).second) {
      throw Failure(kBadInput, ids.back(), "this id is given twice",
                    "Give each feature a unique id");
    }
  }
  return ids;
}

// The rows of the gallery whose ids will be replaced.
std::vector<size_t> rowsToReplace(const GalleryAddRequest& request, const Gallery& gallery,
                                  const std::vector<std::string>& ids) {
  const std::unordered_set<std::string_view> added(ids.begin(), ids.end());
  std::vector<size_t> rows;
  for (size_t row = 0; row < gallery.count(); ++row) {
    if (added.count(gallery.id(row)) == 0) continue;
    if (!request.replaces) {
      throw Failure(kBadInput, request.gallery,
                    "has the id " + std::string(gallery.id(row)) + " already",
                    "Give another with --id, or replace the feature with --replace");
    }
    rows.push_back(row);
  }
  return rows;
}

void writeNewGallery(const GalleryAddRequest& request, const FeatureInputs& inputs,
                     const std::vector<std::string>& ids) {
  if (!inputs.origin()) {
    throw Failure(kBadInput, request.gallery,
                  "does not exist, and feature files do not record the model that a new one needs",
                  "Add a photograph or a gallery first");
  }
  GalleryWriter writer(request.gallery, *inputs.origin(), ids);
  for (size_t i = 0; i < inputs.count(); ++i) writer.add(inputs.feature(i));
  writer.finish();
}

// Photographs were left out, and everything else is done.
ExitCode codeOf(const FeatureInputs& inputs) { return inputs.skipped() == 0 ? kDone : kBadInput; }

ExitCode runGalleryAdd(const GalleryAddRequest& request) {
  const FeatureInputs inputs(kGalleryAddVerb.name, request.sources, request.photo);
  if (inputs.count() == 0 && inputs.skipped() > 0) return kBadInput;
  const std::vector<std::string> ids = idsOf(request, inputs);
  const FileLock lock(request.gallery);
  std::error_code ignored;
  if (!std::filesystem::exists(request.gallery, ignored)) {
    writeNewGallery(request, inputs, ids);
    return codeOf(inputs);
  }
  Gallery gallery(request.gallery);
  NewRows added;
  added.origin = inputs.origin().value_or(gallery.origin());
  requireOneModel(request.gallery, gallery.origin().model, request.sources.front(),
                  added.origin.model);
  added.ids = ids;
  added.feature = [&inputs](size_t i) { return inputs.feature(i); };
  const std::vector<size_t> replaced = rowsToReplace(request, gallery, ids);
  changeGallery(std::move(gallery), replaced, added);
  return codeOf(inputs);
}

VerbRun define(Options& options) {
  auto request = std::make_shared<GalleryAddRequest>();
  options.add("GALLERY", request->gallery, "Gallery file; created if it does not exist").required();
  options.add("SOURCE", request->sources, kFeatureInputHelp).required();
  options
      .add("--id", request->id,
           "Id of the one feature; by default the name of its file, or its id in a gallery")
      .valueName("ID");
  options.addFlag("--replace", request->replaces,
                  "Replace features with the same ids instead of refusing them");
  options.addFlag("--skip", request->photo.skipsFailed,
                  "Leave out photographs that give no feature and end with 3. Without it, one such "
                  "photograph is an error and nothing is added");
  addPhotoOptions(options, request->photo);
  return [request] { return runGalleryAdd(*request); };
}

}  // namespace

const Verb kGalleryAddVerb = {"gallery add", "Add features to a gallery", define};

}  // namespace facefeature_tools

#include "verbs/verb_gallery_export.h"

#include <cmath>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "base/csv.h"
#include "base/float_text.h"
#include "base/little_endian.h"
#include "base/output_file.h"
#include "gallery/gallery_file.h"
#include "gallery/gallery_layout.h"

namespace facefeature_tools {
namespace {

struct GalleryExportRequest {
  std::string gallery;
  std::string output;  // its ending names the format: .npy, .csv or .jsonl
};

// What stands ahead of the floats of a NumPy file: magic, version 1.0, the length of the rest, and
// the description, filled up with spaces so that the floats start at a multiple of 64.
std::string numpyHeader(size_t rows) {
  const std::string start("\x93NUMPY\x01\x00", 8);
  std::string description = "{'descr': '<f4', 'fortran_order': False, 'shape': (" +
                            std::to_string(rows) + ", " + std::to_string(kFeatureFloats) + "), }";
  constexpr size_t kLengthBytes = 2;
  while ((start.size() + kLengthBytes + description.size() + 1) % 64 != 0) description += ' ';
  description += '\n';
  const char length[] = {static_cast<char>(description.size() & 255),
                         static_cast<char>(description.size() >> 8)};
  return start + std::string(length, kLengthBytes) + description;
}

void exportNumpy(const Gallery& gallery, const std::string& path) {
  OutputFile array(path);
  OutputFile ids(std::filesystem::path(path).replace_extension(".ids.txt").string());
  array.write(numpyHeader(gallery.count()));
  for (size_t row = 0; row < gallery.count(); ++row) {
    const FeatureVector feature = gallery.feature(row);
    uint8_t bytes[kFeatureBytes];
    for (size_t i = 0; i < kFeatureFloats; ++i) putFloat(feature.values[i], &bytes[4 * i]);
    array.write(bytes, sizeof bytes);
    ids.write(std::string(gallery.id(row)) + "\n");
  }
  ids.publish();
  array.publish();
}

void exportCsv(const Gallery& gallery, const std::string& path) {
  OutputFile file(path);
  std::string line = "id";
  for (size_t i = 0; i < kFeatureFloats; ++i) line += ",f" + std::to_string(i);
  file.write(line + "\n");
  for (size_t row = 0; row < gallery.count(); ++row) {
    const FeatureVector feature = gallery.feature(row);
    line = csvField(gallery.id(row));
    for (const float value : feature.values) line += "," + floatText(value);
    file.write(line + "\n");
  }
  file.publish();
}

void exportJsonLines(const Gallery& gallery, const std::string& path) {
  OutputFile file(path);
  for (size_t row = 0; row < gallery.count(); ++row) {
    const FeatureVector feature = gallery.feature(row);
    std::string line = "{\"id\":" + nlohmann::json(gallery.id(row)).dump() + ",\"feature\":[";
    const char* comma = "";
    for (const float value : feature.values) {
      // JSON has no words for what is no number.
      line += comma + (std::isfinite(value) ? floatText(value) : std::string("null"));
      comma = ",";
    }
    file.write(line + "]}\n");
  }
  file.publish();
}

ExitCode runGalleryExport(const GalleryExportRequest& request) {
  const std::string ending = std::filesystem::path(request.output).extension().string();
  if (ending != ".npy" && ending != ".csv" && ending != ".jsonl") {
    throw Failure(kWrongUsage, request.output, "names no format that is known",
                  "End it in .npy, .csv or .jsonl");
  }
  const Gallery gallery(request.gallery);
  if (ending == ".npy") exportNumpy(gallery, request.output);
  if (ending == ".csv") exportCsv(gallery, request.output);
  if (ending == ".jsonl") exportJsonLines(gallery, request.output);
  return kDone;
}

VerbRun define(Options& options) {
  auto request = std::make_shared<GalleryExportRequest>();
  options.add("GALLERY", request->gallery, "Gallery file").required();
  options
      .add("-o,--output", request->output,
           "File to write (required); .npy with the ids beside it in .ids.txt, .csv, or .jsonl")
      .required()
      .valueName("FILE");
  return [request] { return runGalleryExport(*request); };
}

}  // namespace

const Verb kGalleryExportVerb = {"gallery export", "Write the features for other programs", define};

}  // namespace facefeature_tools

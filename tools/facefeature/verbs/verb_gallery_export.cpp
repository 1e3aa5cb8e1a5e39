#include "verbs/verb_gallery_export.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/csv.h"
#include "base/float_text.h"
#include "base/little_endian.h"
#include "base/output_file.h"
#include "gallery/gallery_file.h"
#include "gallery/gallery_layout.h"
#include "search/score_form.h"

namespace facefeature_tools {
namespace {

struct GalleryExportRequest {
  std::string gallery;
  std::string output;  // its extension is the format if there is no engine: .npy, .csv or .jsonl
  std::string engine;  // empty: the unchanged features
  std::string form;    // of an earlier export; empty: fitted to this gallery
  bool probes = false;
  std::string headroom = "1.5";
};

// The header of a NumPy file: magic, version 1.0, the length of the rest, and the description,
// padded with spaces so that the floats start at a multiple of 64.
std::string numpyHeader(size_t rows, size_t columns) {
  const std::string start("\x93NUMPY\x01\x00", 8);
  std::string description = "{'descr': '<f4', 'fortran_order': False, 'shape': (" +
                            std::to_string(rows) + ", " + std::to_string(columns) + "), }";
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
  array.write(numpyHeader(gallery.count(), kFeatureFloats));
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
      // JSON can't represent NaN and infinity.
      line += comma + (std::isfinite(value) ? floatText(value) : std::string("null"));
      comma = ",";
    }
    file.write(line + "]}\n");
  }
  file.publish();
}

// The rows of a gallery as vectors for search engines, and how to search them.
class EngineExport {
 public:
  EngineExport(const GalleryExportRequest& request, const Gallery& gallery)
      : request_(request),
        gallery_(gallery),
        parameters_(request.form.empty() ? fitForm(gallery, std::stod(request.headroom))
                                         : readForm(request.form, gallery.origin().model)) {
    for (size_t row = 0; row < gallery.count(); ++row) {
      if (formOf(row)) rows_.push_back(row);
    }
    const size_t left = gallery.count() - rows_.size();
    if (left == 0) return;
    say(kGalleryExportVerb.name,
        gallery.path() + ": warning: " + std::to_string(left) +
            (left == 1 ? " row is" : " rows are") +
            " left out: a number is not finite, the norm is 0, or the row is longer than the "
            "form has room for. Export everything again with a larger --headroom.");
  }

  // Writes the array, its ids, and the parameters.
  void writeNumpy() const {
    OutputFile array(request_.output);
    OutputFile ids(beside(".ids.txt"));
    array.write(numpyHeader(rows_.size(), kFormFloats));
    for (const size_t row : rows_) {
      const ScoreForm form = *formOf(row);
      uint8_t bytes[4 * kFormFloats];
      for (size_t i = 0; i < kFormFloats; ++i) putFloat(form[i], &bytes[4 * i]);
      array.write(bytes, sizeof bytes);
      ids.write(std::string(gallery_.id(row)) + "\n");
    }
    ids.publish();
    array.publish();
    writeParameters();
  }

  // Writes id,embedding, which PostgreSQL's COPY and SQLite's shell import.
  void writeCsv() const {
    OutputFile file(request_.output);
    file.write("id,embedding\n");
    for (const size_t row : rows_) {
      std::string line = csvField(gallery_.id(row)) + ",\"";
      char separator = '[';
      const ScoreForm form = *formOf(row);
      for (const float value : form) {
        line += separator + floatText(value);
        separator = ',';
      }
      file.write(line + "]\"\n");
    }
    file.publish();
    writeParameters();
  }

 private:
  std::optional<ScoreForm> formOf(size_t row) const {
    ScoreForm form;
    const bool isGood =
        (request_.probes ? probeForm : rowForm)(gallery_.feature(row), parameters_, form);
    return isGood ? std::optional<ScoreForm>(form) : std::nullopt;
  }

  std::string beside(const char* ending) const {
    return std::filesystem::path(request_.output).replace_extension(ending).string();
  }

  void writeParameters() const {
    OutputFile file(beside(".form.json"));
    file.write(formText(parameters_, gallery_.origin().model));
    file.publish();
  }

  const GalleryExportRequest& request_;
  const Gallery& gallery_;
  const FormParameters parameters_;
  std::vector<size_t> rows_;
};

bool takesCsv(const std::string& engine) { return engine == "pgvector" || engine == "sqlite-vec"; }

void exportForEngine(const GalleryExportRequest& request, const Gallery& gallery,
                     const std::string& ending) {
  const std::string wanted = takesCsv(request.engine) ? ".csv" : ".npy";
  if (ending != wanted) {
    throw Failure(kWrongUsage, request.output, "does not end in " + wanted,
                  request.engine + " reads that format");
  }
  if (request.probes && request.form.empty()) {
    throw Failure(kWrongUsage, "--probes", "needs the form of the rows", "Name it with --form");
  }
  const EngineExport exported(request, gallery);
  if (takesCsv(request.engine)) {
    exported.writeCsv();
  } else {
    exported.writeNumpy();
  }
}

ExitCode runGalleryExport(const GalleryExportRequest& request) {
  const std::string ending = std::filesystem::path(request.output).extension().string();
  if (ending != ".npy" && ending != ".csv" && ending != ".jsonl") {
    throw Failure(kWrongUsage, request.output, "does not end in a known format",
                  "End it in .npy, .csv or .jsonl");
  }
  const Gallery gallery(request.gallery);
  if (!request.engine.empty()) {
    exportForEngine(request, gallery, ending);
    return kDone;
  }
  if (request.probes || !request.form.empty()) {
    throw Failure(kWrongUsage, request.output, "unchanged features have no form",
                  "Name an engine with --to");
  }
  if (ending == ".npy") exportNumpy(gallery, request.output);
  if (ending == ".csv") exportCsv(gallery, request.output);
  if (ending == ".jsonl") exportJsonLines(gallery, request.output);
  return kDone;
}

std::string engineFault(const std::string& engine) {
  for (const char* known : {"faiss", "pgvector", "sqlite-vec", "lancedb", "npy503"}) {
    if (engine == known) return "";
  }
  return engine + " is not faiss, pgvector, sqlite-vec, lancedb or npy503";
}

std::string headroomFault(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  const bool isGood = end != text.c_str() && *end == '\0' && value >= 1.0 && value <= 1e6;
  return isGood ? "" : text + " is not a number from 1 to 1000000";
}

VerbRun define(Options& options) {
  auto request = std::make_shared<GalleryExportRequest>();
  options.add("GALLERY", request->gallery, "Gallery file").required();
  options
      .add("-o,--output", request->output,
           "File to write (required); .npy with the ids beside it in .ids.txt, .csv, or .jsonl")
      .required()
      .valueName("FILE");
  options
      .add("--to", request->engine,
           "Write the form of 503 numbers for faiss, pgvector, sqlite-vec, lancedb or npy503")
      .check(engineFault)
      .valueName("ENGINE");
  options.add("--form", request->form, "Parameters of an earlier export, for later rows or probes")
      .valueName("FILE.form.json");
  options.addFlag("--probes", request->probes, "Write the form of probes instead of that of rows");
  options
      .add("--headroom", request->headroom,
           "By how much later rows may be longer than these. Default: 1.5")
      .check(headroomFault)
      .valueName("FACTOR");
  return [request] { return runGalleryExport(*request); };
}

}  // namespace

const Verb kGalleryExportVerb = {"gallery export", "Write the features for other programs", define};

}  // namespace facefeature_tools

#include "verbs/extract_list_options.h"

#include <CLI/CLI.hpp>
#include <stdexcept>

namespace facefeature_tools {
namespace {

constexpr unsigned kMaxJobs = 1024;

// The parsers throw, but CLI11 needs the error as text.
std::string progressFault(const std::string& word) {
  try {
    progressFormat(word);
    return "";
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

std::string shardFault(const std::string& text) {
  try {
    parseShard(text);
    return "";
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

}  // namespace

ExtractListOptions::ExtractListOptions(Options& options) {
  CLI::App& extract = options.cli();
  CLI::Option* photo = extract.get_option("PHOTO");
  CLI::Option* landmarks = extract.get_option("LANDMARKS");
  CLI::Option* list = extract.add_option("--list", request_.list,
                                         "Instead of one photograph, all of a CSV file of "
                                         "id,photo,landmarks; --output then names a gallery");
  list->option_text("FILE")->excludes(photo)->each([photo, landmarks](const std::string&) {
    photo->required(false);
    landmarks->required(false);
  });
  extract
      .add_option("--jobs", request_.jobs,
                  "Worker processes. Default: OMP_NUM_THREADS, or one per processor")
      ->check(CLI::Range(1u, kMaxJobs))
      ->option_text("N")
      ->needs(list);
  extract
      .add_option("--batch", request_.batch,
                  "Photographs that a worker extracts in one pass, 1 to 16; by default 16. "
                  "Features do not depend on it")
      ->check(CLI::Range(1u, static_cast<unsigned>(kFaceBatchFaces)))
      ->option_text("N")
      ->needs(list);
  extract.add_option("--progress", progress_, "auto, plain or json")
      ->check(progressFault)
      ->option_text("FORM")
      ->needs(list);
  extract.add_flag("--resume", request_.resume, "Continue an earlier run")->needs(list);
  extract
      .add_option_function<std::string>(
          "--shard", [this](const std::string& text) { request_.shard = parseShard(text); },
          "Only part I of N of the list, I from 1 to N")
      ->check(shardFault)
      ->option_text("I/N")
      ->needs(list);
  extract
      .add_option("--report", request_.report,
                  "CSV file for the photographs that fail or raise warnings")
      ->option_text("FILE")
      ->needs(list);
}

ExitCode ExtractListOptions::run(const ExtractRequest& common) const {
  ExtractListRequest request = request_;
  request.gallery = common.feature;
  request.model = common.model;
  request.exif = common.exif;
  request.face = common.face;
  request.progress = progressFormat(progress_);
  return runExtractList(request);
}

}  // namespace facefeature_tools

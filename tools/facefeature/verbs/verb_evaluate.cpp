#include "verbs/verb_evaluate.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "base/output_file.h"
#include "base/standard_output.h"
#include "evaluation/evaluation.h"
#include "evaluation/people.h"
#include "evaluation/report.h"
#include "evaluation/threshold_file.h"
#include "gallery/gallery_file.h"
#include "page/photo_index.h"
#include "verbs/option_checks.h"

namespace facefeature_tools {
namespace {

struct EvaluateRequest {
  std::string gallery;
  std::string people;             // CSV id,person, or empty
  std::string pairs;              // CSV id_a,id_b,same, or empty
  std::string report;             // HTML file, or empty
  std::string photographs = ".";  // list or folder
  uint64_t replicates = BootstrapOptions().replicates;
  uint64_t seed = BootstrapOptions().seed;
};

Evaluation evaluated(const EvaluateRequest& request, const Gallery& gallery) {
  const BootstrapOptions bootstrap = {static_cast<size_t>(request.replicates), request.seed};
  if (request.pairs.empty()) {
    return evaluatePeople(gallery, readPeople(request.people), bootstrap);
  }
  const std::vector<LabelledPair> pairs = readPairs(request.pairs);
  return evaluatePairs(gallery, pairs, peopleOfPairs(pairs, request.pairs), bootstrap);
}

std::string besideReport(const EvaluateRequest& request, const char* extension) {
  return std::filesystem::path(request.report).replace_extension(extension).string();
}

// A report named after the list of people, such as people.html, would replace people.csv.
void requireOtherNamesThanInputs(const EvaluateRequest& request) {
  for (const char* extension : {".html", ".csv", ".json", ".thresholds.json"}) {
    const std::string output = besideReport(request, extension);
    for (const std::string& input :
         {request.gallery, request.people, request.pairs, request.photographs}) {
      std::error_code ignored;
      if (std::filesystem::equivalent(output, input, ignored)) {
        throw Failure(kWrongUsage, output, "is an input, and the report would replace it",
                      "Give the report another name");
      }
    }
  }
}

void writeText(const std::string& path, const std::string& text) {
  OutputFile file(path);
  file.write(text);
  file.publish();
}

// The report and its additional files, whose names differ in their extensions.
void writeReport(const EvaluateRequest& request, const Evaluation& evaluation,
                 const PhotoIndex& photographs) {
  writeText(besideReport(request, ".csv"), csvReport(evaluation));
  writeText(besideReport(request, ".json"), jsonReport(evaluation));
  writeThresholdFile(besideReport(request, ".thresholds.json"), evaluation);
  writeText(request.report, htmlReport(evaluation, photographs));
  if (photographs.unreadable() > 0) {
    say(kEvaluateVerb.name, request.photographs +
                                ": warning: " + std::to_string(photographs.unreadable()) +
                                " photographs can't be read. The report omits them.");
  }
}

void warnOf(const EvaluateRequest& request, const Evaluation& evaluation) {
  const std::string& list = request.pairs.empty() ? request.people : request.pairs;
  if (evaluation.idsWithoutFeature > 0) {
    say(kEvaluateVerb.name, list + ": warning: " + std::to_string(evaluation.idsWithoutFeature) +
                                " of its ids have no feature in " + request.gallery + ".");
  }
  if (evaluation.idsWithoutPerson > 0 && request.pairs.empty()) {
    say(kEvaluateVerb.name, request.gallery +
                                ": warning: " + std::to_string(evaluation.idsWithoutPerson) +
                                " of its ids have no person in " + list + ". They were left out.");
  }
  const uint64_t notANumber = evaluation.genuineNotANumber + evaluation.impostorsNotANumber;
  if (notANumber > 0) {
    say(kEvaluateVerb.name, request.gallery + ": warning: " + std::to_string(notANumber) +
                                " of the scores are not a number. They are treated as rejected.");
  }
}

ExitCode runEvaluate(const EvaluateRequest& request) {
  if (request.people.empty() && request.pairs.empty()) {
    throw Failure(kWrongUsage, "--people", "is required",
                  "Name the people of the photographs with --people, or the pairs of one person "
                  "with --pairs");
  }
  if (!request.report.empty()) requireOtherNamesThanInputs(request);
  // Read before minutes of work, so that an error in the list is reported at once.
  const PhotoIndex photographs =
      request.report.empty() ? PhotoIndex() : PhotoIndex(request.photographs);
  const Gallery gallery(request.gallery);
  const Evaluation evaluation = evaluated(request, gallery);
  warnOf(request, evaluation);
  if (!request.report.empty()) writeReport(request, evaluation, photographs);
  printData(csvReport(evaluation));
  finishData();
  return kDone;
}

std::string replicatesFault(const std::string& text) {
  const bool isNumber = !text.empty() && text.size() <= 6 &&
                        text.find_first_not_of("0123456789") == std::string::npos;
  const int value = isNumber ? std::stoi(text) : 0;
  return value >= 100 && value <= 100000 ? "" : text + " is not a number from 100 to 100000";
}

VerbRun define(Options& options) {
  auto request = std::make_shared<EvaluateRequest>();
  options.add("GALLERY", request->gallery, "Gallery file").required();
  const Option people =
      options.add("--people", request->people, "CSV file with a row id,person for each id")
          .valueName("FILE");
  options
      .add("--pairs", request->pairs,
           "Instead, CSV file with a row id_a,id_b,same for each pair to compare; same is 1 or 0")
      .excludes(people)
      .valueName("FILE");
  options
      .add("-o,--output", request->report,
           "Report to write; .csv, .json and .thresholds.json are written beside it")
      .check(htmlNameFault)
      .valueName("FILE.html");
  options
      .add("--photos", request->photographs,
           "Photographs for the report: a list as for extract --list, or a folder with a file per "
           "id. By default, ids are names of files")
      .valueName("LIST|FOLDER");
  options
      .add("--replicates", request->replicates,
           "Bootstrap samples of people for the intervals. Default: 1000")
      .check(replicatesFault)
      .valueName("N");
  options.add("--seed", request->seed, "The same seed gives the same intervals. Default: 1")
      .check(negativeFault)
      .valueName("N");
  return [request] { return runEvaluate(*request); };
}

}  // namespace

const Verb kEvaluateVerb = {"evaluate", "Measure error rates of a gallery whose people are known",
                            define};

}  // namespace facefeature_tools

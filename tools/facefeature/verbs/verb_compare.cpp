#include "verbs/verb_compare.h"

#include <cmath>
#include <memory>
#include <optional>
#include <string>

#include "base/csv.h"
#include "base/float_text.h"
#include "base/standard_output.h"
#include "gallery/feature_source.h"
#include "model/library_loader.h"
#include "verbs/threshold_option.h"

namespace facefeature_tools {
namespace {

struct CompareRequest {
  std::string first;
  std::string second;
  ThresholdChoice threshold;
};

// A score that is NaN reaches no threshold.
bool reaches(float score, const std::optional<float>& threshold) {
  return !threshold || score >= *threshold;
}

void warnOfNoNumbers(const CompareRequest& request, size_t count) {
  if (count == 0) return;
  const std::string scores =
      count == 1 ? "the score is" : std::to_string(count) + " of the scores are";
  say(kCompareVerb.name,
      request.first + ", " + request.second + ": warning: " + scores +
          " not a number. One of the two is not a feature of a face; extract it again.");
}

// Prints the rows that reach the threshold. Returns true if there are any.
bool printTable(const CompareRequest& request, const std::optional<float>& threshold,
                const FeatureSource& a, const FeatureSource& b, const LoadedLibrary& library) {
  printData("id_a,id_b,score\n");
  size_t reached = 0;
  size_t noNumbers = 0;
  for (size_t i = 0; i < a.count(); ++i) {
    const FeatureVector first = a.feature(i);
    const std::string start = csvField(a.id(i)) + ",";
    for (size_t k = 0; k < b.count(); ++k) {
      const FeatureVector second = b.feature(k);
      const float score = library.compareFeatures(&first, &second);
      if (std::isnan(score)) ++noNumbers;
      if (!reaches(score, threshold)) continue;
      ++reached;
      printData(start + csvField(b.id(k)) + "," + floatText(score) + "\n");
    }
  }
  warnOfNoNumbers(request, noNumbers);
  return reached > 0;
}

bool printScore(const CompareRequest& request, const std::optional<float>& threshold,
                const FeatureSource& a, const FeatureSource& b, const LoadedLibrary& library) {
  const FeatureVector first = a.feature(0);
  const FeatureVector second = b.feature(0);
  const float score = library.compareFeatures(&first, &second);
  if (std::isnan(score)) warnOfNoNumbers(request, 1);
  printData(floatText(score) + "\n");
  return reaches(score, threshold);
}

ExitCode compare(const CompareRequest& request) {
  const FeatureSource a(request.first);
  const FeatureSource b(request.second);
  if (a.gallery() != nullptr && b.gallery() != nullptr)
    requireSameModel(*a.gallery(), *b.gallery());
  const auto threshold =
      chosenThreshold(kCompareVerb, request.threshold, {a.gallery(), b.gallery()});
  const LoadedLibrary library;
  const bool isTable = a.isWholeGallery() || b.isWholeGallery();
  const bool reached = isTable ? printTable(request, threshold, a, b, library)
                               : printScore(request, threshold, a, b, library);
  finishData();
  return threshold && !reached ? kBelow : kDone;
}

ExitCode runCompare(const CompareRequest& request) {
  if (!request.threshold.isGiven()) return compare(request);
  return runForAnswer([&request] { return compare(request); });
}

VerbRun define(Options& options) {
  auto request = std::make_shared<CompareRequest>();
  const char* const kinds = "Feature file, GALLERY for all of its rows, or GALLERY#ID for one";
  options.add("A", request->first, kinds).required();
  options.add("B", request->second, kinds).required();
  addThreshold(options, request->threshold,
               "Exit with 0 if the score is T or more, with 1 if it is less or NaN, or with 5 "
               "if there is none. For tables, print only the rows that reach T");
  return [request] { return runCompare(*request); };
}

}  // namespace

const Verb kCompareVerb = {
    "compare", "Print the score of two features, or a table id_a,id_b,score of galleries", define};

}  // namespace facefeature_tools

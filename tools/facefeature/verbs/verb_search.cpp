#include "verbs/verb_search.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/csv.h"
#include "base/failure.h"
#include "base/float_text.h"
#include "base/output_file.h"
#include "base/standard_output.h"
#include "model/model_fingerprint.h"
#include "page/photo_index.h"
#include "search/answer_check.h"
#include "search/gallery_search.h"
#include "verbs/feature_inputs.h"
#include "verbs/option_checks.h"
#include "verbs/search_page.h"
#include "verbs/threshold_option.h"

namespace facefeature_tools {
namespace {

struct SearchRequest {
  std::string gallery;
  std::vector<std::string> probes;
  uint64_t top = 10;
  ThresholdChoice threshold;
  std::string format = "csv";
  std::string engineAnswers;  // answers of another engine, to be checked; empty: print answers
  std::string page;           // HTML file, or empty
  // List or folder for the page. By default ids are names of files, as "gallery add" makes them.
  std::string photographs = ".";
  PhotoOptions photo;
};

// Probes per pass over the gallery: 8 MB of features.
constexpr size_t kProbesAPass = 4096;

// Prints the answers, probe after probe.
class AnswerPrinter {
 public:
  AnswerPrinter(const SearchRequest& request, const Gallery& gallery)
      : request_(request), gallery_(gallery) {
    if (request.format == "csv") printData("probe,rank,id,score\n");
    if (request.format != "json") return;
    printData("{\"gallery\":" + jsonText(gallery.path()) +
              ",\"model\":" + jsonText(hexText(gallery.origin().model)) + ",\"probes\":[");
  }

  void print(const std::string& probe, const ProbeAnswer& answer) {
    if (request_.format == "csv") printCsv(probe, answer);
    if (request_.format == "json") printJson(probe, answer);
    if (request_.format == "table") printTable(probe, answer);
    ++printed_;
  }

  void finish() {
    if (request_.format == "json") printData("]}\n");
    finishData();
  }

 private:
  static std::string jsonText(std::string_view text) { return nlohmann::json(text).dump(); }

  std::string id(const Match& match) const { return std::string(gallery_.id(match.row)); }

  void printCsv(const std::string& probe, const ProbeAnswer& answer) const {
    const std::string start = csvField(probe) + ",";
    size_t rank = 0;
    for (const Match& match : answer.matches) {
      printData(start + std::to_string(++rank) + "," + csvField(id(match)) + "," +
                floatText(match.score) + "\n");
    }
  }

  void printJson(const std::string& probe, const ProbeAnswer& answer) const {
    std::string text = printed_ == 0 ? "" : ",";
    text += "\n{\"probe\":" + jsonText(probe) + ",\"matches\":[";
    size_t rank = 0;
    for (const Match& match : answer.matches) {
      // JSON has no infinity.
      const std::string score = std::isfinite(match.score) ? floatText(match.score) : "null";
      text += (rank == 0 ? "\n{\"rank\":" : ",\n{\"rank\":") + std::to_string(rank + 1) +
              ",\"id\":" + jsonText(id(match)) + ",\"score\":" + score + "}";
      ++rank;
    }
    printData(text + "]}");
  }

  void printTable(const std::string& probe, const ProbeAnswer& answer) const {
    std::string text = (printed_ == 0 ? "" : "\n") + probe + "\n";
    if (answer.matches.empty()) text += "  no match\n";
    size_t rank = 0;
    for (const Match& match : answer.matches) {
      std::string number = std::to_string(++rank);
      std::string score = floatText(match.score);
      number.insert(0, number.size() < 5 ? 5 - number.size() : 0, ' ');
      score.insert(0, score.size() < 14 ? 14 - score.size() : 0, ' ');
      text += number + score + "  " + id(match) + "\n";
    }
    printData(text);
  }

  const SearchRequest& request_;
  const Gallery& gallery_;
  size_t printed_ = 0;
};

void warnOfNoNumbers(const SearchRequest& request, size_t count) {
  if (count == 0) return;
  say(kSearchVerb.name,
      request.gallery + ": warning: " + std::to_string(count) +
          (count == 1 ? " score is" : " scores are") +
          " not a number and match nothing. A probe or a row is not a feature of a "
          "face; extract it again.");
}

// Receives the exact answer of probe i.
using AnswerTaker =
    std::function<void(const FeatureInputs& probes, size_t i, const ProbeAnswer& answer)>;

// Searches for all probes of a request, in order.
void forEachAnswer(const SearchRequest& request, const Gallery& gallery,
                   std::optional<float> threshold, const AnswerTaker& take) {
  const FeatureInputs probes(kSearchVerb.name, request.probes, request.photo);
  if (probes.origin()) {
    requireOneModel(request.gallery, gallery.origin().model, request.probes.front(),
                    probes.origin()->model);
  }
  SearchLimits limits;
  limits.top = request.top;
  limits.threshold = threshold;
  limits.threads = searchThreads();
  for (size_t first = 0; first < probes.count(); first += kProbesAPass) {
    std::vector<FeatureVector> features;
    const size_t end = std::min(probes.count(), first + kProbesAPass);
    for (size_t i = first; i < end; ++i) features.push_back(probes.feature(i));
    const std::vector<ProbeAnswer> answers = searchRuns(gallery.runs(), features, limits);
    for (size_t i = first; i < end; ++i) take(probes, i, answers[i - first]);
  }
}

ExitCode search(const SearchRequest& request) {
  const bool hasPage = !request.page.empty();
  const PhotoIndex photographs = hasPage ? PhotoIndex(request.photographs) : PhotoIndex();
  const Gallery gallery(request.gallery);
  const auto threshold = chosenThreshold(kSearchVerb, request.threshold, {&gallery});
  std::optional<AnswerPrinter> printer;
  SearchPage page(gallery, photographs, threshold);
  size_t matches = 0, noNumbers = 0;
  forEachAnswer(request, gallery, threshold,
                [&](const FeatureInputs& probes, size_t i, const ProbeAnswer& answer) {
                  const std::string id = probes.id(i);
                  if (!printer) printer.emplace(request, gallery);
                  printer->print(id, answer);
                  if (hasPage) page.add(id, probes.isPhotograph(i) ? id : "", answer);
                  matches += answer.matches.size();
                  noNumbers += answer.notNumbers;
                });
  if (!printer) printer.emplace(request, gallery);
  if (hasPage) {
    OutputFile file(request.page);
    file.write(page.html());
    file.publish();
  }
  printer->finish();
  warnOfNoNumbers(request, noNumbers);
  return threshold && matches == 0 ? kBelow : kDone;
}

ExitCode verifyAnswers(const SearchRequest& request) {
  const Gallery gallery(request.gallery);
  const auto threshold = chosenThreshold(kSearchVerb, request.threshold, {&gallery});
  const auto engine = readEngineAnswers(request.engineAnswers, gallery);
  AnswerCheck check;
  forEachAnswer(request, gallery, threshold,
                [&](const FeatureInputs& probes, size_t i, const ProbeAnswer& answer) {
                  const auto theirs = engine.find(probes.id(i));
                  const std::vector<EngineMatch> none;
                  checkAnswer(gallery, probes.feature(i), answer,
                              theirs == engine.end() ? none : theirs->second, check);
                });
  const double recall =
      check.expected == 0 ? 1.0
                          : static_cast<double>(check.found) / static_cast<double>(check.expected);
  printData("probes,expected,found,recall,scores,wrong_scores\n" + std::to_string(check.probes) +
            "," + std::to_string(check.expected) + "," + std::to_string(check.found) + "," +
            floatText(static_cast<float>(recall)) + "," + std::to_string(check.scores) + "," +
            std::to_string(check.wrongScores) + "\n");
  finishData();
  return kDone;
}

std::string formatFault(const std::string& format) {
  const bool isKnown = format == "csv" || format == "json" || format == "table";
  return isKnown ? "" : format + " is not csv, json or table";
}

VerbRun define(Options& options) {
  auto request = std::make_shared<SearchRequest>();
  options.add("GALLERY", request->gallery, "Gallery file").required();
  options.add("PROBE", request->probes, kFeatureInputHelp).required();
  options
      .add("--top", request->top,
           "Maximum number of matches per probe; 0 for no limit. Default: 10")
      .check(negativeFault)
      .valueName("K");
  addThreshold(options, request->threshold,
               "Only matches with a score of T or more; exit with 1 if there are none, or with 5 "
               "if there is no answer");
  options.add("--format", request->format, "csv (probe,rank,id,score), json or table. Default: csv")
      .check(formatFault)
      .valueName("FORMAT");
  addPhotoOptions(options, request->photo);
  const Option html =
      options.add("--html", request->page, "Page to write, with the photographs of the matches")
          .check(htmlNameFault)
          .valueName("FILE.html");
  options
      .add(
          "--photos", request->photographs,
          "Photographs for the page: a list as for extract --list, or a folder with a file per id. "
          "By default, ids are names of files")
      .valueName("LIST|FOLDER");
  options
      .add("--verify", request->engineAnswers,
           "Print how many of the exact matches another engine has found, and how many of its "
           "scores are wrong. FILE is CSV with the columns probe, id and optionally score")
      .valueName("FILE")
      .excludes(html);
  return [request] {
    if (!request->engineAnswers.empty()) return verifyAnswers(*request);
    if (!request->threshold.isGiven()) return search(*request);
    return runForAnswer([&request] { return search(*request); });
  };
}

}  // namespace

const Verb kSearchVerb = {"search", "Find the most similar faces of a gallery", define};

}  // namespace facefeature_tools

#include <nlohmann/json.hpp>

#include "evaluation/report.h"
#include "evaluation/report_numbers.h"
#include "model/model_fingerprint.h"

namespace facefeature_tools {
namespace {

using Json = nlohmann::ordered_json;

Json jsonEstimate(const Estimate& estimate) {
  return {{"value", jsonNumber(estimate.value)},
          {"low", jsonNumber(estimate.interval.low)},
          {"high", jsonNumber(estimate.interval.high)}};
}

Json jsonRates(const std::vector<RateAt>& rates, const char* falsePositiveRate) {
  Json all = Json::array();
  for (const RateAt& at : rates) {
    Json entry = {{"name", at.name}, {falsePositiveRate, at.falsePositiveRate}};
    if (!at.refusal.empty()) {
      entry["refused"] = at.refusal;
    } else {
      entry.update(jsonEstimate(at.right));
      entry["threshold"] = jsonFloat(at.threshold);
      entry["false_positives"] = at.falsePositives;
    }
    all.push_back(std::move(entry));
  }
  return all;
}

Json jsonCurve(const std::vector<OperatingPoint>& curve) {
  Json points = Json::array();
  for (const OperatingPoint& point : curve) {
    points.push_back(
        {jsonFloat(point.threshold), point.falsePositiveRate, point.falseNegativeRate});
  }
  return points;
}

Json jsonPairs(const std::vector<NamedComparison>& pairs) {
  Json all = Json::array();
  for (const NamedComparison& pair : pairs) {
    all.push_back({{"id_a", pair.firstId},
                   {"id_b", pair.secondId},
                   {"person_a", pair.firstPerson},
                   {"person_b", pair.secondPerson},
                   {"score", jsonFloat(pair.score)}});
  }
  return all;
}

Json jsonIdentification(const Identification& identification) {
  return {
      {"mated_searches", identification.mated},
      {"non_mated_searches", identification.nonMated},
      {"people", identification.people},
      {"rank_1", jsonEstimate(identification.rankOne)},
      {"found_within_rank", identification.foundByRank},
      {"found_rates", jsonRates(identification.found, "false_positive_identification_rate")},
      {"curve_columns",
       {"threshold", "false_positive_identification_rate", "false_negative_identification_rate"}},
      {"curve", jsonCurve(identification.curve)}};
}

}  // namespace

std::string jsonReport(const Evaluation& evaluation) {
  Json report = {{"file", "facefeature evaluation"},
                 {"version", 1},
                 {"gallery", evaluation.gallery},
                 {"model", hexText(evaluation.model)},
                 {"features", evaluation.features},
                 {"people", evaluation.people},
                 {"people_with_several_features", evaluation.peopleWithPairs},
                 {"genuine_comparisons", evaluation.genuine},
                 {"impostor_comparisons", evaluation.impostors},
                 {"genuine_scores_not_a_number", evaluation.genuineNotANumber},
                 {"impostor_scores_not_a_number", evaluation.impostorsNotANumber},
                 {"ids_without_person", evaluation.idsWithoutPerson},
                 {"ids_without_feature", evaluation.idsWithoutFeature},
                 {"pairs_left_out", evaluation.pairsLeftOut}};
  report["bootstrap"] = {{"replicates", evaluation.bootstrap.replicates},
                         {"seed", evaluation.bootstrap.seed}};
  if (!evaluation.noIntervals.empty()) report["bootstrap"]["refused"] = evaluation.noIntervals;
  report["equal_error_rate"] = jsonEstimate(evaluation.equalErrorRate);
  const auto& threshold = evaluation.equalErrorThreshold;
  report["equal_error_rate"]["threshold"] = threshold ? jsonFloat(*threshold) : Json(nullptr);
  report["accept_rates"] = jsonRates(evaluation.accepted, "false_match_rate");
  report["curve_columns"] = {"threshold", "false_match_rate", "false_non_match_rate"};
  report["curve"] = jsonCurve(evaluation.curve);
  Json edges = Json::array();
  for (const float edge : evaluation.histogramEdges) edges.push_back(jsonFloat(edge));
  report["histogram"] = {{"edges", edges},
                         {"genuine", evaluation.genuineHistogram},
                         {"impostor", evaluation.impostorHistogram}};
  if (evaluation.identification) {
    report["identification"] = jsonIdentification(*evaluation.identification);
  }
  report["worst_false_matches"] = jsonPairs(evaluation.worstFalseMatches);
  report["worst_false_non_matches"] = jsonPairs(evaluation.worstFalseNonMatches);
  // A path may hold any bytes, and JSON is UTF-8.
  return report.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace facefeature_tools

#include <cmath>
#include <cstdio>
#include <initializer_list>

#include "base/csv.h"
#include "base/float_text.h"
#include "evaluation/report.h"

namespace facefeature_tools {
namespace {

std::string numberText(double value) {
  if (std::isnan(value)) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}

std::string row(std::initializer_list<std::string> fields) {
  std::string row;
  for (const std::string& field : fields) row += (row.empty() ? "" : ",") + csvField(field);
  return row + "\n";
}

std::string estimateRow(const std::string& figure, const std::string& at, const Estimate& estimate,
                        const std::string& threshold, const std::string& note) {
  return row({figure, at, numberText(estimate.value), numberText(estimate.interval.low),
              numberText(estimate.interval.high), threshold, note});
}

std::string ratesRows(const std::string& figure, const std::vector<RateAt>& rates) {
  std::string rows;
  for (const RateAt& at : rates) {
    rows += at.refusal.empty() ? estimateRow(figure, at.name, at.right, floatText(at.threshold), "")
                               : row({figure, at.name, "", "", "", "", at.refusal});
  }
  return rows;
}

std::string countRow(const std::string& figure, uint64_t count) {
  return row({figure, "", std::to_string(count), "", "", "", ""});
}

}  // namespace

std::string csvReport(const Evaluation& evaluation) {
  const auto& threshold = evaluation.equalErrorThreshold;
  std::string rows = row({"figure", "at", "value", "low", "high", "threshold", "note"});
  rows += estimateRow("equal_error_rate", "", evaluation.equalErrorRate,
                      threshold ? floatText(*threshold) : "", evaluation.noIntervals);
  rows += ratesRows("accept_rate", evaluation.accepted);
  if (evaluation.identification) {
    const Identification& identification = *evaluation.identification;
    rows += estimateRow("found_within_rank", "1", identification.rankOne, "", "");
    for (const size_t rank : {5, 10, 20, 50}) {
      if (rank > identification.foundByRank.size()) break;
      rows +=
          estimateRow("found_within_rank", std::to_string(rank),
                      {identification.foundByRank[rank - 1], {std::nan(""), std::nan("")}}, "", "");
    }
    std::vector<RateAt> missed = identification.found;
    for (RateAt& at : missed) {
      const Interval found = at.right.interval;
      at.right = {1.0 - at.right.value, {1.0 - found.high, 1.0 - found.low}};
    }
    rows += ratesRows("false_negative_identification_rate", missed);
  }
  rows += countRow("features", evaluation.features);
  rows += countRow("people", evaluation.people);
  rows += countRow("people_with_several_features", evaluation.peopleWithPairs);
  rows += countRow("genuine_comparisons", evaluation.genuine);
  rows += countRow("impostor_comparisons", evaluation.impostors);
  rows += countRow("genuine_scores_not_a_number", evaluation.genuineNotANumber);
  rows += countRow("impostor_scores_not_a_number", evaluation.impostorsNotANumber);
  rows += countRow("ids_without_person", evaluation.idsWithoutPerson);
  rows += countRow("ids_without_feature", evaluation.idsWithoutFeature);
  return rows + countRow("pairs_left_out", evaluation.pairsLeftOut);
}

}  // namespace facefeature_tools

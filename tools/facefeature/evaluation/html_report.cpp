#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "base/float_text.h"
#include "evaluation/report.h"
#include "evaluation/report_numbers.h"
#include "evaluation/score_distributions.h"
#include "model/model_fingerprint.h"
#include "page/html.h"
#include "page/svg_chart.h"

namespace facefeature_tools {
namespace {

constexpr char kPointColour[] = "#c2571a";
constexpr char kLineColour[] = "#1d6fb8";
constexpr char kIntervalColour[] = "#1d6fb8";
constexpr int32_t kThumbnailSide = 320;  // twice the size of a card, for high-resolution screens

std::string paragraph(const std::string& text, const char* style = "") {
  return std::string("<p") + style + ">" + htmlText(text) + "</p>\n";
}

std::string note(const std::string& text) { return paragraph(text, " class=\"note\""); }

std::string heading(const std::string& text) { return "<h2>" + htmlText(text) + "</h2>\n"; }

std::string intervalText(const Interval& interval) {
  if (std::isnan(interval.low)) return "-";
  return percentText(interval.low) + " to " + percentText(interval.high);
}

std::string countText(uint64_t count) {
  std::string digits = std::to_string(count);
  for (size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, ",");
  return digits;
}

// A requested rate, without the trailing zeros of a measured one.
std::string askedRate(double rate) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g %%", 100.0 * rate);
  return text;
}

// The parts of the page, from top to bottom.

std::string summary(const Evaluation& evaluation) {
  std::string html = "<p>Gallery <code>" + htmlText(evaluation.gallery) + "</code>, model <code>" +
                     htmlText(hexText(evaluation.model)) + "</code></p>\n";
  html += paragraph(countText(evaluation.features) + " features of " +
                    countText(evaluation.people) + " people, " +
                    countText(evaluation.peopleWithPairs) + " of them with several features. " +
                    countText(evaluation.genuine) + " genuine comparisons (one person) and " +
                    countText(evaluation.impostors) + " impostor comparisons (two people).");
  if (evaluation.idsWithoutFeature > 0) {
    html += paragraph(countText(evaluation.idsWithoutFeature) +
                      " listed ids have no feature in the gallery: failures to acquire. They are "
                      "not part of the rates below.");
  }
  if (evaluation.idsWithoutPerson > 0) {
    html += paragraph(countText(evaluation.idsWithoutPerson) +
                      " features of the gallery have no person in the list and were left out.");
  }
  if (evaluation.pairsLeftOut > 0) {
    html += paragraph(countText(evaluation.pairsLeftOut) +
                      " listed pairs have an id without a feature and were left out.");
  }
  const uint64_t notANumber = evaluation.genuineNotANumber + evaluation.impostorsNotANumber;
  if (notANumber > 0) {
    html += paragraph(countText(notANumber) +
                      " scores are not a number. They reach no threshold, so a genuine one is "
                      "always rejected.");
  }
  return html;
}

std::string verificationTable(const Evaluation& evaluation) {
  const auto& threshold = evaluation.equalErrorThreshold;
  std::string html = htmlTable({"", "Rate", "95 % interval", "Threshold"},
                               {{"Equal error rate", percentText(evaluation.equalErrorRate.value),
                                 intervalText(evaluation.equalErrorRate.interval),
                                 threshold ? htmlText(floatText(*threshold)) : "-"}});
  std::vector<std::vector<std::string>> rows;
  for (const RateAt& at : evaluation.accepted) {
    const std::string name = askedRate(at.falsePositiveRate);
    if (!at.refusal.empty()) {
      rows.push_back({name, "refused", "", "", htmlText(at.refusal)});
      continue;
    }
    rows.push_back({name, percentText(at.right.value), intervalText(at.right.interval),
                    htmlText(floatText(at.threshold)), countText(at.falsePositives)});
  }
  return html + htmlTable({"False match rate at most", "Accept rate", "95 % interval", "Threshold",
                           "False matches"},
                          rows);
}

double lowestRate(const std::vector<OperatingPoint>& curve, double least) {
  double lowest = 0.1;
  for (const OperatingPoint& point : curve) {
    if (point.falsePositiveRate > 0.0) lowest = std::min(lowest, point.falsePositiveRate);
  }
  return std::max(least, std::pow(10.0, std::floor(std::log10(lowest))));
}

// The points of a line over rates, without those before the start of the axis.
std::vector<ChartPoint> pointsFrom(double lowest, const std::vector<OperatingPoint>& curve) {
  std::vector<ChartPoint> points;
  for (const OperatingPoint& point : curve) {
    if (point.falsePositiveRate >= lowest)
      points.push_back({point.falsePositiveRate, point.falseNegativeRate});
  }
  return points;
}

std::string rocChart(const Evaluation& evaluation) {
  SvgChart chart(
      "ROC: accept rate over false match rate",
      {"False match rate", AxisScale::kLogarithmic, lowestRate(evaluation.curve, 1e-7), 1.0, true},
      {"Accept rate", AxisScale::kLinear, 0.0, 1.0, true});
  std::vector<ChartPoint> points;
  for (const OperatingPoint& point : evaluation.curve) {
    if (point.falsePositiveRate > 0.0)
      points.push_back({point.falsePositiveRate, 1.0 - point.falseNegativeRate});
  }
  for (const RateAt& at : evaluation.accepted) {
    if (!at.refusal.empty() || std::isnan(at.right.interval.low)) continue;
    chart.interval(at.falsePositiveRate, at.right.interval.low, at.right.interval.high,
                   kIntervalColour);
  }
  chart.line(points, kLineColour, "");
  return htmlFigure(chart.svg(), "ROC. Vertical bars are the 95 % intervals of the table.");
}

std::string detChart(const Evaluation& evaluation) {
  const double low = std::max(1e-6, lowestRate(evaluation.curve, 1e-6));
  SvgChart chart("DET: false non-match rate over false match rate",
                 {"False match rate", AxisScale::kProbit, low, 0.8, true},
                 {"False non-match rate", AxisScale::kProbit, std::max(low, 1e-4), 0.99, true});
  chart.diagonal();
  chart.line(pointsFrom(low, evaluation.curve), kLineColour, "");
  const double rate = evaluation.equalErrorRate.value;
  if (rate > 0.0) chart.dot({rate, rate}, kPointColour);
  return htmlFigure(chart.svg(),
                    "DET, both axes scaled by the inverse of the normal distribution. The dot is "
                    "the equal error rate.");
}

std::string histogramChart(const Evaluation& evaluation) {
  const ScoreDistributions distributions = {evaluation.model,
                                            evaluation.genuine,
                                            evaluation.impostors,
                                            evaluation.histogramEdges,
                                            evaluation.genuineHistogram,
                                            evaluation.impostorHistogram,
                                            {}};
  const auto& threshold = evaluation.equalErrorThreshold;
  return htmlFigure(distributionsChart(distributions, threshold ? &*threshold : nullptr,
                                       "threshold of equal error"),
                    "Scores of one person and of two people.");
}

std::string rankChart(const Identification& identification) {
  std::vector<ChartPoint> points;
  double lowest = 1.0;
  for (size_t i = 0; i < identification.foundByRank.size(); ++i) {
    points.push_back({static_cast<double>(i + 1), identification.foundByRank[i]});
    lowest = std::min(lowest, identification.foundByRank[i]);
  }
  SvgChart chart("CMC: share found within each rank",
                 {"Rank", AxisScale::kLogarithmic, 1.0,
                  std::max<double>(10.0, static_cast<double>(points.size())), false},
                 {"Found within this rank", AxisScale::kLinear,
                  std::floor(lowest * 10.0) / 10.0 - 0.1, 1.0, true});
  chart.line(points, kLineColour, "");
  return htmlFigure(chart.svg(), "Cumulative match characteristic (CMC).");
}

std::string openSetChart(const Identification& identification) {
  const double lowest = lowestRate(identification.curve, 1e-5);
  SvgChart chart("False negative over false positive identification rate",
                 {"False positive identification rate", AxisScale::kLogarithmic, lowest, 1.0, true},
                 {"False negative identification rate", AxisScale::kLinear, 0.0, 1.0, true});
  chart.line(pointsFrom(lowest, identification.curve), kLineColour, "");
  return htmlFigure(chart.svg(), "Open-set search: FNIR at each FPIR.");
}

std::string identificationPart(const Identification& identification) {
  std::string html = heading("Search");
  html += paragraph(
      "Each feature is searched among all others, " + countText(identification.mated) +
      " times with its own person enrolled and " + countText(identification.nonMated) +
      " times without, among " + countText(identification.people) +
      " people. A person's score is the best of their features. False positives grow with the "
      "number of people enrolled: these rates hold for a gallery of this size.");
  std::vector<std::vector<std::string>> rows;
  const size_t ranks = identification.foundByRank.size();
  for (const size_t rank : {size_t{1}, size_t{5}, size_t{10}, size_t{20}, size_t{50}}) {
    if (rank > ranks) break;
    rows.push_back({std::to_string(rank), percentText(identification.foundByRank[rank - 1]),
                    rank == 1 ? intervalText(identification.rankOne.interval) : ""});
  }
  html += htmlTable({"Rank at most", "Found", "95 % interval"}, rows);
  rows.clear();
  for (const RateAt& at : identification.found) {
    const std::string name = askedRate(at.falsePositiveRate);
    if (!at.refusal.empty()) {
      rows.push_back({name, "refused", "", "", htmlText(at.refusal)});
      continue;
    }
    const Interval found = at.right.interval;
    rows.push_back({name, percentText(1.0 - at.right.value),
                    intervalText({1.0 - found.high, 1.0 - found.low}),
                    htmlText(floatText(at.threshold)), countText(at.falsePositives)});
  }
  html +=
      htmlTable({"FPIR at most", "FNIR", "95 % interval", "Threshold", "False positives"}, rows);
  return html + "<div class=\"charts\">\n" + rankChart(identification) +
         openSetChart(identification) + "</div>\n";
}

std::string pairGroup(const NamedComparison& pair, const PhotoIndex& photographs) {
  const auto card = [&](const std::string& id, const std::string& person) {
    return htmlCard(photographs.thumbnailUri(id, kThumbnailSide), id,
                    htmlText(person) + "<br><small>" + htmlText(id) + "</small>");
  };
  return htmlGroup({card(pair.firstId, pair.firstPerson), card(pair.secondId, pair.secondPerson)},
                   "Score " + htmlText(floatText(pair.score)));
}

std::string worstPairs(const std::string& title, const std::string& text,
                       const std::vector<NamedComparison>& pairs, const PhotoIndex& photographs) {
  std::string html = heading(title) + paragraph(text) + "<div class=\"cards\">\n";
  for (const NamedComparison& pair : pairs) html += pairGroup(pair, photographs);
  return html + "</div>\n";
}

}  // namespace

std::string htmlReport(const Evaluation& evaluation, const PhotoIndex& photographs) {
  std::string html = summary(evaluation) + heading("Verification") + verificationTable(evaluation);
  if (evaluation.noIntervals.empty()) {
    html += note("Intervals: " + std::to_string(evaluation.bootstrap.replicates) +
                 " replicates of a bootstrap over people, seed " +
                 std::to_string(evaluation.bootstrap.seed) +
                 ". They cover the choice of these people, not that of another population.");
  } else {
    html += note("No intervals: " + evaluation.noIntervals + ".");
  }
  html += "<div class=\"charts\">\n" + histogramChart(evaluation) + rocChart(evaluation) +
          detChart(evaluation) + "</div>\n";
  if (evaluation.identification) html += identificationPart(*evaluation.identification);
  html += worstPairs("Worst false matches",
                     "The highest scores of two people. An error in the list of people shows here "
                     "first: one person under two names.",
                     evaluation.worstFalseMatches, photographs);
  html += worstPairs("Worst false non-matches",
                     "The lowest scores of one person. Two people under one name, a wrong face in "
                     "a group or wrong landmarks show here.",
                     evaluation.worstFalseNonMatches, photographs);
  return htmlPage("Face comparison: evaluation", html);
}

}  // namespace facefeature_tools

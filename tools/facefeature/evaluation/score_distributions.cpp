#include "evaluation/score_distributions.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/failure.h"
#include "base/whole_file.h"
#include "evaluation/report_numbers.h"
#include "page/svg_chart.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Make reports with \"facefeature evaluate -o\", and name the .json file";
constexpr size_t kLimit = size_t{256} << 20;

std::vector<double> sharesOf(const std::vector<uint64_t>& counts, uint64_t total) {
  std::vector<double> shares;
  for (const uint64_t count : counts) {
    shares.push_back(static_cast<double>(count) / static_cast<double>(total));
  }
  return shares;
}

ScoreDistributions distributionsOf(const nlohmann::json& report) {
  ScoreDistributions result;
  result.model = digestOfText(report.at("model").get<std::string>());
  report.at("genuine_comparisons").get_to(result.genuine);
  report.at("impostor_comparisons").get_to(result.impostors);
  const nlohmann::json& histogram = report.at("histogram");
  histogram.at("edges").get_to(result.edges);
  histogram.at("genuine").get_to(result.genuineHistogram);
  histogram.at("impostor").get_to(result.impostorHistogram);
  for (const nlohmann::json& point : report.at("curve")) {
    result.curve.push_back(
        {point.at(0).get<float>(), point.at(1).get<double>(), point.at(2).get<double>()});
  }
  return result;
}

bool isValid(const ScoreDistributions& d) {
  return d.genuine > 0 && d.impostors > 0 && d.edges.size() >= 2 &&
         d.edges.size() == d.genuineHistogram.size() + 1 &&
         d.edges.size() == d.impostorHistogram.size() + 1 && d.edges.front() < d.edges.back();
}

}  // namespace

ScoreDistributions readScoreDistributions(const std::string& path) {
  const std::vector<uint8_t> bytes = readWholeFile(path, kLimit, kRemedy);
  const auto report = nlohmann::json::parse(bytes.begin(), bytes.end(), nullptr, false);
  if (report.is_object() && report.value("file", "") == "facefeature evaluation") {
    try {
      const ScoreDistributions distributions = distributionsOf(report);
      if (isValid(distributions)) return distributions;
    } catch (const std::exception&) {
      // A value is missing or has another type.
    }
  }
  throw Failure(kBadInput, path, "is not a report of an evaluation", kRemedy);
}

OperatingPoint ratesBelow(const ScoreDistributions& distributions, float score) {
  for (const OperatingPoint& point : distributions.curve) {
    if (point.threshold <= score) return point;
  }
  return {score, 1.0, 0.0};
}

std::string distributionsChart(const ScoreDistributions& distributions, const float* score,
                               const std::string& scoreName) {
  constexpr char kGenuineColour[] = "#1d6fb8";
  constexpr char kImpostorColour[] = "#c2571a";
  const auto genuine = sharesOf(distributions.genuineHistogram, distributions.genuine);
  const auto impostors = sharesOf(distributions.impostorHistogram, distributions.impostors);
  const double highest = std::max(*std::max_element(genuine.begin(), genuine.end()),
                                  *std::max_element(impostors.begin(), impostors.end()));
  SvgChart chart(
      "Distributions of genuine and impostor scores",
      {"Score", AxisScale::kLinear, distributions.edges.front(), distributions.edges.back(), false},
      {"Share of the comparisons", AxisScale::kLinear, 0.0, 1.05 * highest, true});
  chart.bars(distributions.edges, impostors, kImpostorColour, "two people");
  chart.bars(distributions.edges, genuine, kGenuineColour, "one person");
  if (score != nullptr) chart.mark(*score, "#3b414b", scoreName);
  return chart.svg();
}

}  // namespace facefeature_tools

#include "evaluation/threshold_file.h"

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "base/failure.h"
#include "base/output_file.h"
#include "base/whole_file.h"
#include "evaluation/report_numbers.h"
#include "model/model_fingerprint.h"

namespace facefeature_tools {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kKind[] = "facefeature thresholds";
constexpr int kVersion = 1;
constexpr char kRemedy[] = "Make threshold files with \"facefeature evaluate -o\"";
constexpr size_t kLimit = size_t{16} << 20;
constexpr char kEqualError[] = "eer";
// The rate that many applications choose, or the lowest one that is not refused.
constexpr double kDefaultRate = 1e-3;

Json entryOf(const std::string& name, float threshold) {
  return {{"name", name}, {"threshold", jsonFloat(threshold)}};
}

Failure notValid(const std::string& path, const std::string& wrong) {
  return Failure(kBadInput, path, wrong, kRemedy);
}

struct FileAndName {
  std::string path;
  std::optional<std::string> name;
};

FileAndName split(const std::string& argument) {
  std::error_code ignored;
  const size_t sign = argument.rfind('#');
  if (sign == std::string::npos || std::filesystem::exists(argument, ignored)) {
    return {argument, std::nullopt};
  }
  return {argument.substr(0, sign), argument.substr(sign + 1)};
}

Json parsed(const std::string& path) {
  const std::vector<uint8_t> bytes = readWholeFile(path, kLimit, kRemedy);
  const Json file = Json::parse(bytes.begin(), bytes.end(), nullptr, false);
  if (!file.is_object() || !file.contains("file") || file["file"] != kKind) {
    throw notValid(path, "is not a threshold file");
  }
  if (!file.contains("version") || file["version"] != kVersion) {
    throw notValid(path, "is a threshold file of a version that this program does not read");
  }
  return file;
}

}  // namespace

void writeThresholdFile(const std::string& path, const Evaluation& evaluation) {
  Json file = {{"file", kKind}, {"version", kVersion}, {"model", hexText(evaluation.model)}};
  std::string defaultName = kEqualError;
  Json thresholds = Json::array();
  if (evaluation.equalErrorThreshold) {
    thresholds.push_back(entryOf(kEqualError, *evaluation.equalErrorThreshold));
  }
  for (const RateAt& at : evaluation.accepted) {
    if (!at.refusal.empty()) continue;
    thresholds.push_back(entryOf(at.name, at.threshold));
    thresholds.back()["false_match_rate"] = at.falsePositiveRate;
    thresholds.back()["accept_rate"] = at.right.value;
    if (at.falsePositiveRate >= kDefaultRate) defaultName = at.name;
  }
  file["default"] = defaultName;
  file["thresholds"] = thresholds;
  OutputFile output(path);
  output.write(file.dump(2) + "\n");
  output.publish();
}

FileThreshold readThreshold(const std::string& argument) {
  const FileAndName wanted = split(argument);
  const Json file = parsed(wanted.path);
  FileThreshold result;
  result.path = wanted.path;
  std::string names;
  try {
    result.model = digestOfText(file.at("model").get<std::string>());
    result.name = wanted.name ? *wanted.name : file.at("default").get<std::string>();
    for (const Json& entry : file.at("thresholds")) {
      const std::string name = entry.at("name").get<std::string>();
      names += (names.empty() ? "" : ", ") + name;
      if (name != result.name) continue;
      result.threshold = static_cast<float>(entry.at("threshold").get<double>());
      return result;
    }
  } catch (const std::invalid_argument& error) {
    throw notValid(wanted.path, error.what());
  } catch (const Json::exception&) {
    throw notValid(wanted.path, "lacks a model, a default or a threshold");
  }
  throw Failure(kBadInput, wanted.path, "has no threshold named " + result.name,
                names.empty() ? kRemedy : "It has these: " + names);
}

void requireModelOf(const FileThreshold& threshold, const std::string& galleryPath,
                    const Digest& galleryModel) {
  if (threshold.model == galleryModel) return;
  throw Failure(kBadModel, threshold.path + ", " + galleryPath,
                "are of different models, " + hexText(threshold.model) + " and " +
                    hexText(galleryModel) + ", and a threshold of one means nothing for the other",
                "Evaluate the model of the gallery");
}

}  // namespace facefeature_tools

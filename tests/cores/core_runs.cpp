#include "cores/core_runs.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "host/child_process.h"
#include "support/private_temp_folder.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

// All that OpenBLAS has for x86-64; on another processor none of them is known to it.
const char* const kCores[] = {
    "Prescott",     "Atom",      "Core2",   "Penryn", "Dunnington",  "Nehalem",   "Opteron",
    "Opteron_SSE3", "Barcelona", "Nano",    "Bobcat", "Sandybridge", "Bulldozer", "Piledriver",
    "Steamroller",  "Excavator", "Haswell", "Zen",    "SkylakeX",    "Cooperlake"};

std::vector<std::string> linesIn(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// Nothing where the processor ends the process for an instruction that it doesn't have.
std::optional<CoreRun> runOn(const std::optional<std::string>& core) {
  haveModel();
  const std::string path = privateTempFolder() + "/features";
  const ChildResult result =
      runChild(FACEFEATURE_CORE_FEATURES, {path}, {{"OPENBLAS_CORETYPE", core}});
  if (result.signal != 0) return std::nullopt;
  if (result.exitStatus != 0) throw std::runtime_error("core_features: " + result.err);
  CoreRun run;
  run.photographs = linesIn(result.out);
  run.core = run.photographs.at(0);
  run.photographs.erase(run.photographs.begin());
  run.features.resize(run.photographs.size());
  const size_t bytes = run.features.size() * sizeof(FeatureVector);
  std::ifstream file(path, std::ios::binary);
  if (!file.read(reinterpret_cast<char*>(run.features.data()),
                 static_cast<std::streamsize>(bytes))) {
    throw std::runtime_error("core_features wrote too little");
  }
  return run;
}

// The package falls back on another core where it doesn't know a name, or the processor lacks what
// it asks for; that one has a run of its own then.
std::vector<CoreRun> runOnAll() {
  std::vector<CoreRun> runs;
  for (const char* core : kCores) {
    const std::optional<CoreRun> run = runOn(core);
    if (run && run->core == core) runs.push_back(*run);
  }
  return runs;
}

double share(double a, double b) {
  const double larger = std::max(std::fabs(a), std::fabs(b));
  return larger > 0.0 ? std::fabs(a - b) / larger : 0.0;
}

void raise(double& largest, double value) {
  // A NaN is the largest of all: no comparison with it is true.
  if (!(value <= largest)) largest = value;
}

void compareFeatures(const FeatureVector& a, const FeatureVector& b, Distance& distance) {
  for (int32_t k = 0; k < 500; ++k) {
    const double x = a.values[k], y = b.values[k];
    raise(distance.element, std::fabs(x - y));
    raise(distance.ofElement, share(x, y));
    raise(distance.ofFeature, std::fabs(x - y) / static_cast<double>(a.values[501]));
  }
  raise(distance.squares, share(a.values[500], b.values[500]));
  raise(distance.norm, share(a.values[501], b.values[501]));
}

}  // namespace

const std::vector<CoreRun>& coreRuns() {
  static const std::vector<CoreRun> runs = runOnAll();
  return runs;
}

std::string chosenCore() {
  const std::optional<CoreRun> run = runOn(std::nullopt);
  if (!run) throw std::runtime_error("no core runs on this processor");
  return run->core;
}

Distance distanceOf(const CoreRun& a, const CoreRun& b) {
  Distance distance;
  for (size_t i = 0; i < a.features.size(); ++i) {
    compareFeatures(a.features[i], b.features.at(i), distance);
    for (size_t j = 0; j < i; ++j) {
      const double x = facefeature::CompareFeatures(&a.features[i], &a.features[j]);
      const double y = facefeature::CompareFeatures(&b.features[i], &b.features[j]);
      raise(distance.score, std::fabs(x - y));
      raise(distance.ofScore, share(x, y));
    }
  }
  return distance;
}

Distance largerOf(const Distance& a, const Distance& b) {
  Distance larger = a;
  raise(larger.element, b.element);
  raise(larger.ofElement, b.ofElement);
  raise(larger.ofFeature, b.ofFeature);
  raise(larger.squares, b.squares);
  raise(larger.norm, b.norm);
  raise(larger.score, b.score);
  raise(larger.ofScore, b.ofScore);
  return larger;
}

bool sameFeatures(const CoreRun& a, const CoreRun& b) {
  return a.features.size() == b.features.size() &&
         std::memcmp(a.features.data(), b.features.data(),
                     a.features.size() * sizeof(FeatureVector)) == 0;
}

}  // namespace facefeature_test

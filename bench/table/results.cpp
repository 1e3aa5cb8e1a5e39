#include "results.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

namespace facefeature_bench {
namespace {

using nlohmann::json;

[[noreturn]] void giveUp(const std::string& what) {
  std::fprintf(stderr, "facefeature_bench_table: %s\n", what.c_str());
  std::exit(2);
}

// Google Benchmark appends the kind of timing to the name.
std::string nameInSource(const std::string& name) {
  size_t end = name.size();
  for (const char* added : {"/iterations:", "/repeats:", "/real_time", "/manual_time"}) {
    end = std::min(end, name.find(added));
  }
  return name.substr(0, end);
}

double millisecondsOf(const json& run) {
  const std::string unit = run.at("time_unit");
  const double time = run.at("real_time");
  if (unit == "ns") return time * 1e-6;
  if (unit == "us") return time * 1e-3;
  if (unit == "ms") return time;
  return time * 1e3;
}

// The counters that the benchmarks set.
void addCounters(const json& run, Series& series) {
  for (const char* name : {"bytes", "flops", "count", "file_bytes", "activation_bytes",
                           "created_bytes", "engine_bytes", "growth_bytes", "extractions"}) {
    if (run.contains(name)) series.counters[name] = run.at(name);
  }
}

void addTo(Series& series, const json& run) {
  const std::string label = run.value("label", "");
  if (series.milliseconds.empty()) series.label = label;
  if (series.label != label) series.label = "?";
  series.milliseconds.push_back(millisecondsOf(run));
  addCounters(run, series);
}

// The set that the library uses is also recorded as "fast", which the table compares with the plain
// set.
void addRun(const json& run, const std::string& active, Results& results) {
  if (run.value("run_type", "") != "iteration") return;
  if (run.value("error_occurred", false)) giveUp(run.at("name").get<std::string>() + " failed");
  const std::string name = nameInSource(run.at("name"));
  addTo(results.series[name], run);
  if (name.size() > active.size() &&
      name.compare(name.size() - active.size(), active.size(), active) == 0) {
    addTo(results.series[name.substr(0, name.size() - active.size()) + "/fast"], run);
  }
}

std::string cacheText(const json& context) {
  std::string text;
  for (const json& cache : context.value("caches", json::array())) {
    if (cache.value("type", "") == "Instruction") continue;
    text += (text.empty() ? "" : ", ") + std::string("L") +
            std::to_string(cache.value("level", 0)) + " " +
            std::to_string(cache.value("size", 0) / 1024) + " KiB";
  }
  return text;
}

void readFile(const std::string& path, Results& results) {
  std::ifstream file(path);
  const json document = json::parse(file, nullptr, false);
  if (document.is_discarded()) giveUp(path + " is no whole result");
  const json& context = document.at("context");
  for (const char* name : {"kernel_set", "compiler", "flags"}) {
    results.context[name] = context.value(name, "");
  }
  results.context["caches"] = cacheText(context);
  const std::string active = "/" + results.context["kernel_set"];
  for (const json& run : document.at("benchmarks")) addRun(run, active, results);
}

}  // namespace

double Series::minimum() const {
  return *std::min_element(milliseconds.begin(), milliseconds.end());
}

double Series::median() const {
  std::vector<double> sorted = milliseconds;
  std::sort(sorted.begin(), sorted.end());
  const size_t upper = sorted.size() / 2;
  return sorted.size() % 2 == 1 ? sorted[upper] : (sorted[upper - 1] + sorted[upper]) / 2;
}

const Series& Results::of(const std::string& name) const {
  const auto found = series.find(name);
  if (found == series.end()) giveUp("there is no result of " + name);
  return found->second;
}

std::vector<std::string> Results::names(const std::string& begin, const std::string& end) const {
  std::vector<std::string> found;
  for (const auto& entry : series) {
    const std::string& name = entry.first;
    if (name.size() < begin.size() + end.size() || name.rfind(begin, 0) != 0) continue;
    if (name.compare(name.size() - end.size(), end.size(), end) == 0) found.push_back(name);
  }
  return found;
}

Results readKind(const std::string& folder, const std::string& kind) {
  Results results;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(kind + ".", 0) == 0) readFile(entry.path().string(), results);
  }
  return results;
}

Measured readMeasured(const std::string& folder) {
  return {readKind(folder, "release"), readKind(folder, "o2"), readKind(folder, "memory")};
}

}  // namespace facefeature_bench

// Runs of the probe, shared by the tests of the shared library.
#ifndef FACEFEATURE_TESTS_HOST_PROBE_RUN_H
#define FACEFEATURE_TESTS_HOST_PROBE_RUN_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "host/child_process.h"
#include "host/linked_model.h"
#include "support/environment.h"

namespace facefeature_test {

using Steps = std::vector<std::string>;

// The steps for one face in a fresh process.
inline Steps oneExtraction() {
  return {"load", "create", "a", "extract", "a", "face", "destroy", "a", "unload"};
}

inline Steps joined(std::vector<Steps> parts) {
  Steps all;
  for (const Steps& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Runs the probe with these steps. The library finds this temporary folder unless changes override
// it.
inline ChildResult runProbe(const std::string& temporaryFolder, const Steps& steps,
                            const Environment& changes = {}) {
  Environment environment = {{kTemporaryFolderVariable, temporaryFolder}};
  for (const auto& [name, value] : changes) environment[name] = value;
  return runChild(FACEFEATURE_HOST_PROBE, joined({{FACEFEATURE_LIBRARY}, steps}), environment);
}

inline ChildResult runProbe(const LinkedModel& model, const Steps& steps,
                            const Environment& changes = {}) {
  return runProbe(model.temporaryFolder(), steps, changes);
}

// Sets the size of the OpenMP runtime's teams, whatever this process's environment is.
inline Environment withThreads(int32_t threads, Environment others = {}) {
  others["OMP_NUM_THREADS"] = std::to_string(threads);
  others["OMP_THREAD_LIMIT"] = std::nullopt;
  others["OMP_DYNAMIC"] = std::nullopt;
  return others;
}

// For a host that leaks memory on purpose, which a leak checker would report as a failure.
inline Environment leaksAllowed() {
  const char* const options = std::getenv("ASAN_OPTIONS");
  const std::string others = options == nullptr ? "" : std::string(options) + ":";
  return {{"ASAN_OPTIONS", others + "detect_leaks=0"}};
}

// The output of a run that must succeed; the test fails if it does not.
inline std::string outputOf(const ChildResult& result) {
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("", result.err);
  return result.out;
}

inline std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t start = 0; start < text.size();) {
    const size_t end = text.find('\n', start);
    lines.push_back(text.substr(start, end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return lines;
}

// "feature" and its bits, as the unmodified model gives them for the variant. The first call for
// each variant runs the probe.
inline std::string goodFeature(const std::string& variant = "face") {
  static std::map<std::string, std::string> known;
  if (known.count(variant) != 0) return known[variant];
  const LinkedModel model;
  const ChildResult result =
      runProbe(model, {"load", "create", "a", "extract", "a", variant, "destroy", "a", "unload"});
  const std::vector<std::string> lines = linesOf(outputOf(result));
  if (lines.size() != 2 || lines[1].compare(0, 10, "a feature ") != 0) {
    ADD_FAILURE() << "the complete model gives no feature: " << result.out.substr(0, 200);
    return "none";
  }
  return known[variant] = lines[1].substr(2);
}

// The feature of the only face that an otherwise silent run extracts.
inline std::string featureWith(const LinkedModel& model) {
  const std::vector<std::string> lines = linesOf(outputOf(runProbe(model, oneExtraction())));
  if (lines.size() != 2 || lines[0] != "a made" || lines[1].compare(0, 2, "a ") != 0) {
    ADD_FAILURE() << "not one creation and one extraction: "
                  << (lines.empty() ? "" : lines[0].substr(0, 200));
    return "none";
  }
  return lines[1].substr(2);
}

}  // namespace facefeature_test

#endif

// What the benchmark program has written, read back.
#ifndef FACEFEATURE_BENCH_TABLE_RESULTS_H
#define FACEFEATURE_BENCH_TABLE_RESULTS_H

#include <map>
#include <string>
#include <vector>

namespace facefeature_bench {

// One benchmark with all repetitions of all runs.
struct Series {
  std::vector<double> milliseconds;
  std::string label;  // of the bits that came out; "?" where repetitions do not agree
  std::map<std::string, double> counters;

  double minimum() const;
  double median() const;
};

// The runs of one build.
struct Results {
  std::map<std::string, Series> series;        // by the name in the source
  std::map<std::string, std::string> context;  // kernel_set, compiler, flags, caches

  bool has(const std::string& name) const { return series.count(name) > 0; }

  // Says what is missing and ends the program where there is none of this name.
  const Series& of(const std::string& name) const;

  double minimum(const std::string& name) const { return of(name).minimum(); }
  double median(const std::string& name) const { return of(name).median(); }

  // Names that begin so and end so.
  std::vector<std::string> names(const std::string& begin, const std::string& end) const;
};

// Everything a call of `run` has measured.
struct Measured {
  Results release;  // what is shipped; the only one with stages, kernels and limits in turns
  Results o2;       // the plain forms, built with -O2
  Results memory;
};

// Reads the files KIND.*.json in a folder. Says what is wrong and ends the program if one is not
// to be read; a kind without files has no results.
Measured readMeasured(const std::string& folder);

}  // namespace facefeature_bench

#endif

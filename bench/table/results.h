// Reads the results that the benchmark program has written.
#ifndef FACEFEATURE_BENCH_TABLE_RESULTS_H
#define FACEFEATURE_BENCH_TABLE_RESULTS_H

#include <map>
#include <string>
#include <vector>

namespace facefeature_bench {

// One benchmark with the repetitions of all runs.
struct Series {
  std::vector<double> milliseconds;
  std::string label;  // checksum of the resulting bits; "?" if the repetitions differ
  std::map<std::string, double> counters;

  double minimum() const;
  double median() const;
};

// All runs of one build.
struct Results {
  std::map<std::string, Series> series;        // by the name in the source
  std::map<std::string, std::string> context;  // kernel_set, compiler, flags, caches

  bool has(const std::string& name) const { return series.count(name) > 0; }

  // Prints an error and ends the program if there is no benchmark with this name.
  const Series& of(const std::string& name) const;

  double minimum(const std::string& name) const { return of(name).minimum(); }
  double median(const std::string& name) const { return of(name).median(); }

  // All names with this beginning and this end.
  std::vector<std::string> names(const std::string& begin, const std::string& end) const;
};

// Everything that one call of `run` has measured.
struct Measured {
  Results release;  // as shipped; the only build whose stages, kernels and limits are interleaved
  Results o2;       // the plain kernels, built with -O2
  Results memory;
};

// Reads the files KIND.*.json in a folder. A kind without files has no results. Prints an error and
// ends the program if a file can't be read.
Results readKind(const std::string& folder, const std::string& kind);

// Reads the kinds release, o2 and memory.
Measured readMeasured(const std::string& folder);

}  // namespace facefeature_bench

#endif

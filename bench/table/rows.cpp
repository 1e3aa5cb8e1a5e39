#include "rows.h"

#include <cstdio>
#include <string>

namespace facefeature_bench {
namespace {

const char kNoNumber[] = "-";

std::string numberText(double number, int decimals) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, number);
  return text;
}

std::string timeText(double milliseconds) {
  return milliseconds <= 0 ? kNoNumber : numberText(milliseconds, milliseconds < 1 ? 3 : 2);
}

std::string ratioText(double number, double other) {
  return number <= 0 || other <= 0 ? kNoNumber : numberText(number / other, 2);
}

// Times are in milliseconds, 0 if there is none.
struct Row {
  std::string name;
  double o2 = 0;
  double plain = 0;
  double fast = 0;
  double limit = 0;
  std::string bound;  // what the limit is
  bool sameBits = true;
};

void printLine(const char* name, const char* o2, const char* plain, const char* fast,
               const char* speedup, const char* limit, const char* distance, const char* bits,
               const char* bound) {
  std::printf("%-34s%10s%10s%10s%9s%10s%9s  %-7s%s\n", name, o2, plain, fast, speedup, limit,
              distance, bits, bound);
}

void printRow(const Row& row) {
  const bool compared = row.plain > 0 && row.fast > 0;
  printLine(row.name.c_str(), timeText(row.o2).c_str(), timeText(row.plain).c_str(),
            timeText(row.fast).c_str(), ratioText(row.plain, row.fast).c_str(),
            timeText(row.limit).c_str(), ratioText(row.fast, row.limit).c_str(),
            !compared ? kNoNumber : (row.sameBits ? "equal" : "DIFFER"), row.bound.c_str());
}

// Adds the time of one benchmark, count times, where there is such a one; and compares its bits.
void addTime(const Results& results, const std::string& name, double count, double& time,
             std::string& label, bool& sameBits) {
  if (!results.has(name)) return;
  const Series& series = results.of(name);
  time += count * series.minimum();
  if (label.empty()) label = series.label;
  if (label != series.label || label == "?") sameBits = false;
}

// Adds one benchmark, count times, to a row.
void addTo(Row& row, const Results& release, const Results& o2, const std::string& name,
           double count) {
  std::string label;
  addTime(release, name + "/plain", count, row.plain, label, row.sameBits);
  addTime(release, name + "/fast", count, row.fast, label, row.sameBits);
  addTime(o2, name + "/plain", count, row.o2, label, row.sameBits);
}

Row rowOf(const Results& release, const Results& o2, const std::string& title,
          const std::string& name) {
  Row row;
  row.name = title;
  addTo(row, release, o2, name, 1);
  return row;
}

// What the limits say about amounts, in milliseconds.
class Limits {
 public:
  explicit Limits(const Results& release) : release_(release) {}

  double multiplied(double flops) const { return scaled("multiply_add/fast", "flops", flops); }
  double read(double bytes) const { return scaled("read_memory", "bytes", bytes); }
  double written(double bytes) const { return scaled("write_cache", "bytes", bytes); }
  double copied(double bytes) const { return scaled("copy_cache", "bytes", bytes); }
  double projections() const { return release_.minimum("limit/read_projections/cold"); }

  // Of the 25 nets: their products at the rate of large ones, and the weights of their fully
  // connected layers read once.
  double nets() const {
    return multiplied(total("kernel/sgemm", "flops")) + read(total("kernel/fc", "bytes"));
  }

  // An amount over all layers of all nets.
  double total(const std::string& kernel, const char* counter) const {
    double sum = 0;
    for (const std::string& name : release_.names(kernel + "/", "/fast")) {
      const Series& series = release_.of(name);
      const auto found = series.counters.find(counter);
      if (found != series.counters.end()) sum += found->second * series.counters.at("count");
    }
    return sum;
  }

 private:
  double scaled(const std::string& limit, const char* counter, double amount) const {
    const Series& series = release_.of("limit/" + limit);
    return amount / series.counters.at(counter) * series.minimum();
  }

  const Results& release_;
};

// A kernel over all layers of all nets: what it takes of one extraction.
Row kernelRow(const Measured& m, const std::string& title, const std::string& kernel) {
  Row row;
  row.name = "  " + title;
  for (const std::string& name : m.release.names(kernel + "/", "/fast")) {
    const std::string layer = name.substr(0, name.size() - std::string("/fast").size());
    addTo(row, m.release, m.o2, layer, m.release.of(name).counters.at("count"));
  }
  return row;
}

Row bounded(Row row, double limit, const char* bound) {
  row.limit = limit;
  row.bound = bound;
  return row;
}

std::vector<Row> stageRows(const Measured& m, const Limits& limits) {
  const auto stage = [&m](const std::string& title, const std::string& name) {
    return rowOf(m.release, m.o2, title, "stage/" + name);
  };
  Row create;
  create.name = "creation of an engine";
  create.fast = m.release.minimum("stage/create");
  return {
      stage("gray image 640x480", "gray/640x480"),
      stage("gray image 4000x3000", "gray/4000x3000"),
      stage("25 patch matrices 640x480", "patches/640x480"),
      stage("25 patch matrices 4000x3000", "patches/4000x3000"),
      bounded(stage("25 nets, 1 thread", "nets/threads:1"), limits.nets(),
              "multiply-adds, fc weights"),
      bounded(stage("25 nets, 2 threads", "nets/threads:2"), limits.nets() / 2, "half of that"),
      bounded(stage("projection, from memory", "projection/cold"), limits.projections(),
              "read of both matrices"),
      bounded(stage("projection, again and again", "projection/again"),
              m.release.minimum("limit/read_projections/again"), "the same"),
      bounded(create, m.release.minimum("limit/read_files_apart"), "read of the 303 files"),
  };
}

std::vector<Row> kernelRows(const Measured& m, const Limits& limits) {
  const auto bytes = [&limits](const char* kernel) { return limits.total(kernel, "bytes"); };
  const auto products = [&limits](const char* kernel) {
    return limits.multiplied(limits.total(kernel, "flops"));
  };
  return {
      bounded(kernelRow(m, "unfolding", "kernel/unfold"), limits.written(bytes("kernel/unfold")),
              "writes in cache"),
      bounded(kernelRow(m, "convolution sgemm", "kernel/sgemm"), products("kernel/sgemm"),
              "multiply-adds"),
      bounded(kernelRow(m, "biases", "kernel/biases"), limits.copied(bytes("kernel/biases")),
              "copies in cache"),
      bounded(kernelRow(m, "convolution, these together", "kernel/convolution"),
              products("kernel/convolution"), "multiply-adds"),
      bounded(kernelRow(m, "relu", "kernel/relu"), limits.copied(bytes("kernel/relu")),
              "copies in cache"),
      bounded(kernelRow(m, "max pooling", "kernel/maxpool"), limits.copied(bytes("kernel/maxpool")),
              "copies in cache"),
      bounded(kernelRow(m, "fc sgemm, weights cold", "kernel/fc"), limits.read(bytes("kernel/fc")),
              "read of the weights"),
  };
}

std::vector<Row> callRows(const Measured& m, const Limits& limits) {
  std::vector<Row> rows;
  for (const std::string& size : {std::string("640x480"), std::string("4000x3000")}) {
    for (const int threads : {1, 2}) {
      const std::string count = std::to_string(threads);
      Row row =
          rowOf(m.release, m.o2, size + ", " + count + (threads == 1 ? " thread" : " threads"),
                "extract/" + size + "/threads:" + count);
      rows.push_back(
          bounded(row, limits.nets() / threads + limits.projections(), "nets and projection"));
    }
  }
  return rows;
}

bool printSection(const char* title, const std::vector<Row>& rows) {
  std::printf("%s\n", title);
  bool sameBits = true;
  for (Row row : rows) {
    row.name = "  " + row.name;
    printRow(row);
    sameBits = sameBits && row.sameBits;
  }
  return sameBits;
}

double rateOf(const Series& series, const char* counter) {
  return series.counters.at(counter) / series.minimum() * 1e-6;
}

void printRates(const Results& release) {
  const auto rate = [&release](const char* name, const char* counter) {
    return rateOf(release.of(std::string("limit/") + name), counter);
  };
  std::printf(
      "limits of one core: %.1f GFLOP/s in registers; GB/s: read of memory %.1f, of the "
      "projections from memory %.1f,\nagain and again %.1f; in cache: write %.1f, copy (in and "
      "out) "
      "%.1f; files: all to one place %.1f, each to its own %.1f\n",
      rate("multiply_add/fast", "flops"), rate("read_memory", "bytes"),
      rate("read_projections/cold", "bytes"), rate("read_projections/again", "bytes"),
      rate("write_cache", "bytes"), rate("copy_cache", "bytes"), rate("read_files_over", "bytes"),
      rate("read_files_apart", "bytes"));
}

// One line for each set that ran: the nets, complete extractions, and the peak of its registers.
void printSets(const Results& release) {
  std::printf("kernel sets%42s%10s%15s%10s%14s\n", "25 nets", "", "640x480 call", "", "registers");
  std::printf("%-34s%9s%10s%15s%10s%14s\n", "", "1 thread", "2 threads", "1 thread", "2 threads",
              "GFLOP/s");
  for (const std::string& name : release.names("limit/multiply_add/", "")) {
    const std::string end = name.substr(name.rfind('/'));
    if (end == "/fast") continue;
    std::printf("  %-32s%9.2f%10.2f%15.2f%10.2f%14.1f\n", end.c_str() + 1,
                release.minimum("stage/nets/threads:1" + end),
                release.minimum("stage/nets/threads:2" + end),
                release.minimum("extract/640x480/threads:1" + end),
                release.minimum("extract/640x480/threads:2" + end),
                rateOf(release.of(name), "flops"));
  }
}

// Several faces in one pass, with the set that the library uses, on one thread.
bool printBatches(const Results& release) {
  std::printf("faces in one pass, 640x480, 1 thread%17s%10s\n", "ms a face", "median");
  std::string label;
  bool sameBits = true;
  for (const int faces : {1, 2, 4, 8, 16}) {
    const std::string name = "batch/faces:" + std::to_string(faces);
    if (!release.has(name)) continue;
    const Series& series = release.of(name);
    if (label.empty()) label = series.label;
    const bool same = label == series.label && label != "?";
    sameBits = sameBits && same;
    std::printf("  %-42d%9.2f%10.2f  %s\n", faces, series.minimum() / faces,
                series.median() / faces, same ? "equal" : "DIFFER");
  }
  return sameBits;
}

// Engines side by side, each with a thread of its own.
void printWorkers(const Results& release) {
  std::printf("engines side by side, 640x480%24s%10s\n", "faces a second", "median");
  for (int workers = 1; workers <= 4096; ++workers) {
    const std::string name = "workers/" + std::to_string(workers);
    if (!release.has(name)) continue;
    const Series& series = release.of(name);
    const double faces = series.counters.at("count") * 1e3;
    std::printf("  %-42d%9.0f%10.0f\n", workers, faces / series.minimum(), faces / series.median());
  }
}

}  // namespace

bool printRows(const Measured& m) {
  const Limits limits(m.release);
  printLine("minima in ms", "plain -O2", "plain", "fast", "plain/", "limit", "fast/", "bits",
            "what the limit is");
  printLine("", "", "", "", "fast", "", "limit", "", "");
  bool sameBits = printSection("stages", stageRows(m, limits));
  sameBits = printSection("kernels, over one extraction", kernelRows(m, limits)) && sameBits;
  sameBits = printSection("whole calls", callRows(m, limits)) && sameBits;
  printSets(m.release);
  sameBits = printBatches(m.release) && sameBits;
  printWorkers(m.release);
  printRates(m.release);
  return sameBits;
}

}  // namespace facefeature_bench

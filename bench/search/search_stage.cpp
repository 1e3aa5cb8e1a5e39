// Times the exact scan of a gallery, for bench/search/run.
//
//   search_stage make GALLERY COUNT     writes a gallery of random features
//   search_stage serve GALLERY          reads commands, one per line, and answers each with a line
//
// The answer to the first three commands is their time in seconds.
//
//   read THREADS          reads all features once
//   scan PROBES THREADS   searches for the best 10 of the first PROBES rows
//   loop PROBES           scores the first PROBES rows with every row by CompareFeatures, on one
//   thread check PROBES          the number of scores of scan that differ from those of loop in any
//   bit
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "engine/feature_engine.h"
#include "gallery/gallery_file.h"
#include "search/gallery_search.h"

namespace {

using namespace facefeature_tools;

// Results are stored here, so that the compiler keeps every loop.
volatile uint64_t sink;

GalleryOrigin madeUpOrigin() {
  GalleryOrigin origin;
  origin.model.fill(7);
  origin.libraryVersion = "benchmark";
  origin.blasCore = "benchmark";
  return origin;
}

void make(const std::string& path, size_t count) {
  std::vector<std::string> ids;
  for (size_t i = 0; i < count; ++i) ids.push_back("person/" + std::to_string(i) + ".jpg");
  std::mt19937 numbers(1);
  std::uniform_real_distribution<float> values(-1.0f, 1.0f);
  GalleryWriter writer(path, madeUpOrigin(), ids);
  for (size_t i = 0; i < count; ++i) {
    FeatureVector feature;
    double squares = 0;
    for (int k = 0; k < 500; ++k) {
      feature.values[k] = values(numbers);
      squares += double{feature.values[k]} * feature.values[k];
    }
    feature.values[500] = static_cast<float>(squares);
    feature.values[501] = static_cast<float>(std::sqrt(squares));
    writer.add(feature);
  }
  writer.finish();
}

// A plain loop that the compiler vectorises. It has several results, so that none waits for
// another.
uint64_t xorOf(const uint8_t* bytes, size_t count) {
  uint64_t sums[32] = {};
  for (size_t i = 0; i + sizeof sums <= count; i += sizeof sums) {
    uint64_t words[32];
    std::memcpy(words, bytes + i, sizeof words);
    for (size_t k = 0; k < 32; ++k) sums[k] ^= words[k];
  }
  uint64_t all = 0;
  for (const uint64_t sum : sums) all ^= sum;
  return all;
}

uint32_t bitsOf(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::vector<FeatureVector> firstRows(const Gallery& gallery, size_t count) {
  std::vector<FeatureVector> rows;
  for (size_t row = 0; row < count; ++row) rows.push_back(gallery.feature(row));
  return rows;
}

// Calls use(probe, row, score) with the score of each probe and each row.
template <typename Use>
void forEachScore(const Gallery& gallery, const std::vector<FeatureVector>& probes, Use use) {
  for (const FeatureRun& run : gallery.runs()) {
    const FeatureVector* rows = reinterpret_cast<const FeatureVector*>(run.features);
    for (size_t i = 0; i < run.count; ++i) {
      for (size_t p = 0; p < probes.size(); ++p) {
        use(p, run.firstRow + i, facefeature::CompareFeatures(&probes[p], &rows[i]));
      }
    }
  }
}

size_t differingScores(const Gallery& gallery, const std::vector<FeatureVector>& probes) {
  SearchLimits limits;
  limits.top = 0;
  const std::vector<ProbeAnswer> answers = searchRuns(gallery.runs(), probes, limits);
  std::vector<std::vector<float>> scores(probes.size(),
                                         std::vector<float>(gallery.count(), std::nanf("")));
  for (size_t p = 0; p < probes.size(); ++p) {
    for (const Match& match : answers[p].matches) scores[p][match.row] = match.score;
  }
  size_t differing = 0;
  forEachScore(gallery, probes, [&](size_t p, size_t row, float score) {
    if (bitsOf(scores[p][row]) != bitsOf(score)) ++differing;
  });
  return differing;
}

// Each thread reads an equal part.
void readAll(const Gallery& gallery, unsigned threads) {
  for (const FeatureRun& run : gallery.runs()) {
    const size_t share = run.count * sizeof(FeatureVector) / threads;
    std::vector<std::thread> readers;
    for (unsigned i = 0; i < threads; ++i) {
      readers.emplace_back([&run, share, i] { sink = xorOf(run.features + i * share, share); });
    }
    for (std::thread& reader : readers) reader.join();
  }
}

void scan(const Gallery& gallery, const std::vector<FeatureVector>& probes, unsigned threads) {
  SearchLimits limits;
  limits.threads = threads;
  sink = searchRuns(gallery.runs(), probes, limits).front().matches.front().row;
}

void loop(const Gallery& gallery, const std::vector<FeatureVector>& probes) {
  uint64_t sum = 0;
  forEachScore(gallery, probes, [&sum](size_t, size_t, float score) { sum += bitsOf(score); });
  sink = sum;
}

template <typename Task>
double secondsOf(Task task) {
  const auto start = std::chrono::steady_clock::now();
  task();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double answer(const Gallery& gallery, std::istringstream& fields) {
  std::string command;
  size_t count = 0;
  unsigned threads = 0;
  fields >> command >> count;
  if (command == "read") {
    return secondsOf([&] { readAll(gallery, static_cast<unsigned>(count)); });
  }
  const std::vector<FeatureVector> probes = firstRows(gallery, count);
  if (command == "scan" && fields >> threads) {
    return secondsOf([&] { scan(gallery, probes, threads); });
  }
  if (command == "loop") return secondsOf([&] { loop(gallery, probes); });
  if (command == "check") return static_cast<double>(differingScores(gallery, probes));
  throw std::runtime_error(fields.str() + " is not a command");
}

void serve(const std::string& path) {
  const Gallery gallery(path);
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream fields(line);
    std::cout << answer(gallery, fields) << std::endl;
  }
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const std::string command = count > 2 ? arguments[1] : "";
    if (command == "make" && count == 4) {
      make(arguments[2], std::strtoull(arguments[3], nullptr, 10));
    } else if (command == "serve" && count == 3) {
      serve(arguments[2]);
    } else {
      std::fprintf(stderr, "usage: search_stage make GALLERY COUNT | serve GALLERY\n");
      return 2;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "search_stage: %s\n", error.what());
    return 1;
  }
  return 0;
}

// Checks that the library leaves its host unchanged, however long it is used.
//
//     soak LIBRARY [--count N] [--seed N]
//
// Extracts N features (50000) of small pictures with two threads. In between, engines are destroyed
// and created, and the library is unloaded and loaded. The bits of each picture's feature must
// always be those of its first extraction. After the warm-up, memory, threads and open files of the
// process must stay constant.
//
// Exit status: 0 if all of this holds, 1 if it does not, 2 if it can't be tried.
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/probe_library.h"
#include "host/probe_request.h"
#include "soak/process_state.h"
#include "support/private_temp_folder.h"
#include "support/synthetic_folder.h"

namespace facefeature_test {
namespace {

constexpr const char* kThreads = "2";
constexpr unsigned kSecondsForARound = 600;
constexpr int64_t kExtractionsOfAnEngine = 40;
constexpr int64_t kEnginesOfALoading = 5;
constexpr int64_t kExtractionsOfALoading = kExtractionsOfAnEngine * kEnginesOfALoading;
constexpr size_t kPictures = 16;
constexpr size_t kLinesOfTheCurve = 25;
// Compares medians over a tenth of the run. A leak of 32 bytes in each of 50000 extractions exceeds
// this limit.
constexpr int64_t kMaxGrowthKiB = 1024;
// Tolerance for a single sample: the allocator returns freed memory to the system when it likes.
constexpr int64_t kMaxAtOnePointKiB = 16384;

// A picture of the face with noise, and landmarks that are slightly off.
ProbeRequest noisyRequest(std::mt19937& random) {
  ProbeRequest request = probeRequest();
  std::uniform_int_distribution<int> noise(-20, 20);
  for (uint8_t& byte : request.pixels) byte = static_cast<uint8_t>(byte + noise(random));
  std::uniform_real_distribution<float> shift(-1.5f, 1.5f);
  constexpr size_t kHead = offsetof(LandmarkSet, entries);
  for (size_t at = kHead; at + sizeof(Landmark) <= request.record.size(); at += sizeof(Landmark)) {
    Landmark entry;
    std::memcpy(&entry, &request.record[at], sizeof entry);
    entry.x += shift(random);
    entry.y += shift(random);
    std::memcpy(&request.record[at], &entry, sizeof entry);
  }
  return request;
}

// Thrown if a single call fails.
struct WrongResult : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The state of the process at the end of one loading.
struct Point {
  int64_t extractions;
  ProcessState used;  // while the last engine is alive
  ProcessState left;  // after the library is unloaded
};

class Soak {
 public:
  Soak(const std::string& path, int64_t count, uint32_t seed) : library_(path), count_(count) {
    std::mt19937 random(seed);
    for (size_t i = 0; i < kPictures; ++i) requests_.push_back(noisyRequest(random));
    features_.resize(kPictures);
  }

  // Returns true if everything is as it must be.
  bool run() {
    std::printf("extractions   KiB in use   KiB unloaded   threads   open files\n");
    while (extractions_ < count_) {
      oneLoading();
      printPoint();
    }
    return isFlat() & isConstant();
  }

 private:
  void oneLoading() {
    alarm(kSecondsForARound);
    library_.load();
    Point point = {0, {}, {}};
    for (int64_t i = 0; i < kEnginesOfALoading; ++i) point.used = oneEngine();
    library_.unload();
    point.left = processState();
    point.extractions = extractions_;
    points_.push_back(point);
  }

  ProcessState oneEngine() {
    FeatureEngine* const engine = library_.create();
    if (engine == nullptr) throw WrongResult("no engine");
    for (int64_t i = 0; i < kExtractionsOfAnEngine; ++i) oneExtraction(engine);
    rejectedExtraction(engine);
    const ProcessState state = processState();
    library_.destroy(engine);
    return state;
  }

  void oneExtraction(FeatureEngine* engine) {
    const size_t picture = static_cast<size_t>(extractions_) % kPictures;
    const ProbeRequest& request = requests_[picture];
    FeatureVector feature;
    library_.extract(engine, request.pixels.data(), request.width, request.height, request.stride,
                     request.landmarks(), feature.values);
    FeatureVector& first = features_[picture];
    if (extractions_ < static_cast<int64_t>(kPictures)) first = feature;
    const float score = library_.compare(&first, &feature);
    ++extractions_;
    if (std::isfinite(score) && std::memcmp(&first, &feature, sizeof feature) == 0) return;
    throw WrongResult("extraction " + std::to_string(extractions_) + " of picture " +
                      std::to_string(picture) + " has other bits than the first one");
  }

  void rejectedExtraction(FeatureEngine* engine) const {
    FeatureVector feature;
    library_.extract(engine, requests_[0].pixels.data(), 1, 1, 3, requests_[0].landmarks(),
                     feature.values);
    if (!std::isnan(feature.values[501])) throw WrongResult("nothing was rejected");
  }

  // After the warm-up, which is a tenth of the run and at least one loading.
  size_t firstPoint() const { return std::max<size_t>(points_.size() / 10, 1); }

  // Prints line by line during the run.
  void printPoint() const {
    const size_t all = static_cast<size_t>((count_ - 1) / kExtractionsOfALoading + 1);
    const size_t step = std::max<size_t>(all / kLinesOfTheCurve, 1);
    const size_t number = points_.size();
    if (number % step != 0 && number != all && number != 1) return;
    const Point& point = points_.back();
    std::printf(
        "%11lld %12lld %14lld %7lld/%lld %10lld/%lld\n", static_cast<long long>(point.extractions),
        static_cast<long long>(point.used.ownKiB), static_cast<long long>(point.left.ownKiB),
        static_cast<long long>(point.used.threads), static_cast<long long>(point.left.threads),
        static_cast<long long>(point.used.openFiles), static_cast<long long>(point.left.openFiles));
  }

  static int64_t median(std::vector<int64_t> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
  }

  bool isFlat(const char* name, const std::vector<int64_t>& curve) const {
    const size_t tenth = std::max<size_t>(curve.size() / 10, 1);
    const int64_t early = median({curve.begin(), curve.begin() + static_cast<long>(tenth)});
    const int64_t late = median({curve.end() - static_cast<long>(tenth), curve.end()});
    const int64_t highest = *std::max_element(curve.begin(), curve.end());
    std::printf("memory %s: %lld KiB at first, %lld KiB at last, %lld KiB at most\n", name,
                static_cast<long long>(early), static_cast<long long>(late),
                static_cast<long long>(highest));
    return late - early <= kMaxGrowthKiB && highest - early <= kMaxAtOnePointKiB;
  }

  bool isFlat() const {
    std::vector<int64_t> used, left;
    for (size_t i = firstPoint(); i < points_.size(); ++i) {
      used.push_back(points_[i].used.ownKiB);
      left.push_back(points_[i].left.ownKiB);
    }
    if (used.empty()) throw std::runtime_error("too few extractions to tell anything");
    const bool flat = isFlat("in use", used) & isFlat("unloaded", left);
    if (!flat) std::printf("FAILED: memory grows\n");
    return flat;
  }

  bool isConstant() const {
    const Point& first = points_.front();
    for (const Point& point : points_) {
      if (point.used.threads == first.used.threads && point.left.threads == 1 &&
          point.used.openFiles == first.used.openFiles &&
          point.left.openFiles == first.left.openFiles) {
        continue;
      }
      std::printf("FAILED: other threads or files at %lld extractions\n",
                  static_cast<long long>(point.extractions));
      return false;
    }
    return true;
  }

  ProbeLibrary library_;
  const int64_t count_;
  int64_t extractions_ = 0;
  std::vector<ProbeRequest> requests_;
  std::vector<FeatureVector> features_;
  std::vector<Point> points_;
};

int64_t numberAfter(const std::string& name, const std::vector<std::string>& words, int64_t value) {
  for (size_t i = 0; i + 1 < words.size(); ++i) {
    if (words[i] == name) return std::stoll(words[i + 1]);
  }
  return value;
}

bool soaked(const std::vector<std::string>& words) {
  if (words.empty()) throw std::runtime_error("soak LIBRARY [--count N] [--seed N]");
  const int64_t count = numberAfter("--count", words, 50000);
  const uint32_t seed = static_cast<uint32_t>(numberAfter("--seed", words, 1));
  // Read once, when the OpenMP runtime is loaded.
  setenv("OMP_NUM_THREADS", kThreads, 1);
  const std::string folder = privateTempFolder() + "/~kwplugintmp~";
  std::filesystem::create_directory(folder);
  writeSyntheticModel(folder, 4);
  std::printf("%lld extractions, seed %u\n", static_cast<long long>(count), seed);
  return Soak(words[0], count, seed).run();
}

}  // namespace
}  // namespace facefeature_test

int main(int argc, char** argv) {
  setvbuf(stdout, nullptr, _IOLBF, 0);
  try {
    const bool good = facefeature_test::soaked({argv + 1, argv + argc});
    std::printf(good ? "all as it was\n" : "not as it was\n");
    return good ? 0 : 1;
  } catch (const facefeature_test::WrongResult& wrong) {
    std::printf("FAILED: %s\n", wrong.what());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "soak: %s\n", error.what());
    return 2;
  }
}

#include "search/gallery_search.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <thread>

#include "search/best_matches.h"

namespace facefeature_tools {
namespace {

static_assert(sizeof(FeatureVector) == 502 * sizeof(float), "features are read as rows of floats");

// Rows that a thread takes at a time: enough to make the cost of taking them negligible.
constexpr size_t kChunkRows = 2048;
// Probes that are scored together. They fit into the second-level cache.
constexpr size_t kBlockProbes = 64;
// Scores that are computed before they are offered: 64 kB, so that they are still in a cache. Few
// probes get long blocks of rows, because the kernels prefetch rows within a block only.
constexpr size_t kBlockScores = 16384;

struct Chunk {
  size_t firstRow;
  size_t count;
  const float* features;
};

std::vector<Chunk> chunksOf(const std::vector<FeatureRun>& runs) {
  std::vector<Chunk> chunks;
  for (const FeatureRun& run : runs) {
    // Galleries align features to 64 bytes and a feature has 2008 bytes, so this is aligned to 8.
    const float* features = reinterpret_cast<const float*>(run.features);
    for (size_t done = 0; done < run.count; done += kChunkRows) {
      chunks.push_back({run.firstRow + done, std::min(kChunkRows, run.count - done),
                        features + done * kFeatureFloats});
    }
  }
  return chunks;
}

class Search {
 public:
  Search(const std::vector<FeatureRun>& runs, const std::vector<FeatureVector>& probes,
         const SearchLimits& limits)
      : chunks_(chunksOf(runs)),
        probes_(probes),
        limits_(limits),
        score_(limits.kernels != nullptr ? limits.kernels->score : fastestScanKernels().score),
        best_(noMatches()) {}

  // The work of one thread. Any number of threads may run it at the same time.
  void work() noexcept {
    try {
      std::vector<BestMatches> best = noMatches();
      std::vector<float> scores(kBlockScores);
      for (size_t i = nextChunk_++; i < chunks_.size(); i = nextChunk_++) {
        scan(chunks_[i], scores.data(), best);
      }
      const std::lock_guard<std::mutex> guard(lock_);
      for (size_t p = 0; p < best.size(); ++p) best_[p].merge(best[p]);
    } catch (...) {
      const std::lock_guard<std::mutex> guard(lock_);
      failure_ = std::current_exception();
    }
  }

  // To be called after all threads have returned from work(). Rethrows an exception of one of them.
  std::vector<ProbeAnswer> answers() const {
    if (failure_) std::rethrow_exception(failure_);
    std::vector<ProbeAnswer> answers;
    for (const BestMatches& best : best_) answers.push_back(best.answer());
    return answers;
  }

 private:
  std::vector<BestMatches> noMatches() const {
    return std::vector<BestMatches>(probes_.size(), BestMatches(limits_.top, limits_.threshold));
  }

  void scan(const Chunk& chunk, float* scores, std::vector<BestMatches>& best) const {
    for (size_t p = 0; p < probes_.size(); p += kBlockProbes) {
      const size_t count = std::min(kBlockProbes, probes_.size() - p);
      const size_t blockRows = kBlockScores / count;
      for (size_t r = 0; r < chunk.count; r += blockRows) {
        const size_t rows = std::min(blockRows, chunk.count - r);
        score_(chunk.features + r * kFeatureFloats, static_cast<int32_t>(rows), probes_[p].values,
               static_cast<int32_t>(count), scores);
        for (size_t i = 0; i < count; ++i) {
          best[p + i].offer(scores + i * rows, rows, chunk.firstRow + r);
        }
      }
    }
  }

  const std::vector<Chunk> chunks_;
  const std::vector<FeatureVector>& probes_;
  const SearchLimits limits_;
  const ScanFunction score_;
  std::atomic<size_t> nextChunk_{0};
  std::mutex lock_;  // of the fields below
  std::vector<BestMatches> best_;
  std::exception_ptr failure_;
};

}  // namespace

std::vector<ProbeAnswer> searchRuns(const std::vector<FeatureRun>& runs,
                                    const std::vector<FeatureVector>& probes,
                                    const SearchLimits& limits) {
  Search search(runs, probes, limits);
  std::vector<std::thread> threads;
  for (unsigned i = 1; i < limits.threads; ++i) threads.emplace_back(&Search::work, &search);
  search.work();
  for (std::thread& thread : threads) thread.join();
  return search.answers();
}

unsigned searchThreads() {
  const char* text = std::getenv("OMP_NUM_THREADS");
  const int asked = text != nullptr ? std::atoi(text) : 0;
  if (asked > 0) return static_cast<unsigned>(asked);
  return std::max(1u, std::thread::hardware_concurrency());
}

}  // namespace facefeature_tools

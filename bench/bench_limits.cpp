// The best that the machine can do, as limits for the stages. On one thread.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench_common.h"
#include "bench_model.h"
#include "engine/model_state.h"
#include "kernels/kernel_set.h"
#include "kernels/product.h"

namespace facefeature_bench {
namespace {

constexpr int64_t kProjectionFloats =
    int64_t{facefeature::kProjectedFloats} * facefeature::kPatchFeatureFloats;

// The two matrices of the projection, 16 MB each.
void readProjections() {
  benchmark::DoNotOptimize(readAll(facefeature::selfProjection, kProjectionFloats));
  benchmark::DoNotOptimize(readAll(facefeature::crossProjection, kProjectionFloats));
}

constexpr double kProjectionBytes = 2.0 * static_cast<double>(kProjectionFloats) * sizeof(float);

// Wherever the previous read has left them: a cache of 32 MB may hold most of them.
void readProjectionsAgain(benchmark::State& state) {
  sharedEngine();
  for (auto unused : state) {
    static_cast<void>(unused);
    readProjections();
  }
  state.counters["bytes"] = kProjectionBytes;
}

// From memory, as in an extraction after 25 nets.
void readProjectionsCold(benchmark::State& state) {
  sharedEngine();
  Stopwatch watch;
  for (auto unused : state) {
    static_cast<void>(unused);
    emptyCaches();
    watch.start();
    readProjections();
    watch.stop(state);
  }
  state.counters["bytes"] = kProjectionBytes;
}

// From memory, by reading more than the caches hold.
void readMemory(benchmark::State& state) {
  static const std::vector<float> floats(size_t{64} << 20, 1.0f);
  const int64_t count = static_cast<int64_t>(floats.size());
  for (auto unused : state) {
    static_cast<void>(unused);
    benchmark::DoNotOptimize(readAll(floats.data(), count));
  }
  state.counters["bytes"] = static_cast<double>(count) * sizeof(float);
}

// As large as the largest patch matrix, written repeatedly.
void writeCache(benchmark::State& state) {
  std::vector<float> floats(48 * 52 * 52);
  int value = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    std::memset(floats.data(), ++value, floats.size() * sizeof(float));
    benchmark::ClobberMemory();
  }
  state.counters["bytes"] = static_cast<double>(floats.size()) * sizeof(float);
}

// As large as the largest activations; the bytes read and the bytes written both count.
void copyCache(benchmark::State& state) {
  const std::vector<float> from(16 * 52 * 52, 1.0f);
  std::vector<float> to(from.size());
  for (auto unused : state) {
    static_cast<void>(unused);
    std::memcpy(to.data(), from.data(), from.size() * sizeof(float));
    benchmark::ClobberMemory();
  }
  state.counters["bytes"] = 2.0 * static_cast<double>(from.size()) * sizeof(float);
}

// The peak of multiply-adds: products of the active set whose operands stay in the first-level
// cache.
void multiplyAdd(benchmark::State& state) {
  constexpr int32_t kRows = 4, kColumns = 80, kTerms = 32;
  const std::vector<float> a = plausibleFloats(kRows * kTerms, 1);
  const std::vector<float> b = plausibleFloats(kTerms * kColumns, 2);
  std::vector<float> c(kRows * kColumns);
  const facefeature::Product product = {kRows,    kColumns, kTerms, a.data(), kTerms,  1,
                                        b.data(), kColumns, 1,      c.data(), kColumns};
  constexpr int32_t kProducts = 1000;
  for (auto unused : state) {
    static_cast<void>(unused);
    for (int32_t i = 0; i < kProducts; ++i) facefeature::activeKernels->product(product);
    benchmark::ClobberMemory();
  }
  state.counters["flops"] = 2.0 * kRows * kColumns * kTerms * kProducts;
}

struct FreeBytes {
  void operator()(void* bytes) const { std::free(bytes); }
};
using Bytes = std::unique_ptr<void, FreeBytes>;

// Reads a whole file into the buffer, which must have at least that size. Without a buffer,
// allocates memory for it and returns that.
Bytes readFile(const std::string& path, void* buffer) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status = {};
  if (file < 0 || fstat(file, &status) != 0) {
    std::perror(path.c_str());
    std::exit(4);
  }
  const size_t size = static_cast<size_t>(status.st_size);
  Bytes own(buffer == nullptr ? std::malloc(size) : nullptr);
  char* to = static_cast<char*>(buffer == nullptr ? own.get() : buffer);
  for (size_t have = 0; have < size;) {
    const ssize_t got = read(file, to + have, size - have);
    if (got <= 0) break;
    have += static_cast<size_t>(got);
  }
  close(file);
  return own;
}

// All files into the same buffer: the time of the system call alone.
void readFilesOver(benchmark::State& state) {
  haveModelFiles();
  std::vector<char> buffer(static_cast<size_t>(kProjectionFloats) * sizeof(float) + 8);
  for (auto unused : state) {
    static_cast<void>(unused);
    for (const std::string& path : modelFilePaths()) readFile(path, buffer.data());
  }
  state.counters["bytes"] = static_cast<double>(modelFileBytes());
}

// Each file into new memory, as an engine must hold them. Freeing is not timed.
void readFilesApart(benchmark::State& state) {
  haveModelFiles();
  Stopwatch watch;
  for (auto unused : state) {
    static_cast<void>(unused);
    giveFreedMemoryBack();
    watch.start();
    std::vector<Bytes> contents;
    contents.reserve(modelFilePaths().size());
    for (const std::string& path : modelFilePaths()) contents.push_back(readFile(path, nullptr));
    watch.stop(state);
  }
  state.counters["bytes"] = static_cast<double>(modelFileBytes());
}

}  // namespace

void registerLimits() {
  addBenchmark("limit/read_projections/again", readProjectionsAgain);
  addSelfTimed("limit/read_projections/cold", readProjectionsCold);
  addBenchmark("limit/read_memory", readMemory);
  addBenchmark("limit/write_cache", writeCache);
  addBenchmark("limit/copy_cache", copyCache);
  addForSets("limit/multiply_add", multiplyAdd);
  addBenchmark("limit/read_files_over", readFilesOver)->Iterations(1);
  addSelfTimed("limit/read_files_apart", readFilesApart);
}

}  // namespace facefeature_bench

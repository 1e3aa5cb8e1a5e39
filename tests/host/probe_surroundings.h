// What a host process may have about it when it calls the library: a floating point environment of
// its own, memory taken ahead, another copy of the package for matrices.
#ifndef FACEFEATURE_TESTS_HOST_PROBE_SURROUNDINGS_H
#define FACEFEATURE_TESTS_HOST_PROBE_SURROUNDINGS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace facefeature_test {

// Of the calling thread: "nearest", "upward", "downward" or "zero"; denormals "kept" or "flushed",
// as operands and as results. Both throw std::runtime_error for another word.
void setRounding(const std::string& mode);
void setDenormals(const std::string& mode);

// The thread's rounding and treatment of denormals in those words: "nearest kept".
std::string floatEnvironment();

// Takes so many blocks of memory, of sizes without a pattern, and keeps them: what is mapped or
// allocated afterwards lies elsewhere than it would.
void takeMemory(int32_t blocks);

// A BLAS of the host's own, with its names open to every library that is loaded later.
class HostBlas {
 public:
  // Throws std::runtime_error with the loader's own words.
  explicit HostBlas(const std::string& path);

  // c = a b for square matrices of 96 x 96 made from the number; the same in each call.
  std::vector<float> product(int32_t number) const;

 private:
  void (*sgemm_)(int order, int transA, int transB, int m, int n, int k, float alpha,
                 const float* a, int lda, const float* b, int ldb, float beta, float* c, int ldc);
};

// Does the work while a thread for each of these multiplies with it all the while. False when one
// of its products differed from those that it made before, alone.
bool besideProducts(const std::vector<HostBlas>& others, const std::function<void()>& work);

}  // namespace facefeature_test

#endif

// Conditions under which a host process may call the library: a floating point environment of its
// own, memory allocated before, a BLAS of its own.
#ifndef FACEFEATURE_TESTS_HOST_PROBE_SURROUNDINGS_H
#define FACEFEATURE_TESTS_HOST_PROBE_SURROUNDINGS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace facefeature_test {

// Apply to the calling thread: "nearest", "upward", "downward" or "zero"; denormals "kept" or
// "flushed", both as operands and as results. Both throw std::runtime_error for any other text.
void setRounding(const std::string& mode);
void setDenormals(const std::string& mode);

// The thread's rounding mode and treatment of denormals in the same terms: "nearest kept".
std::string floatEnvironment();

// Allocates this many blocks of irregular sizes and keeps them, so that later mappings and
// allocations get different addresses.
void takeMemory(int32_t blocks);

// A BLAS of the host's own, whose symbols are visible to every library loaded later.
class HostBlas {
 public:
  // Throws std::runtime_error with the loader's message.
  explicit HostBlas(const std::string& path);

  // c = a b for square matrices of 96 x 96 generated from the number, always the same.
  std::vector<float> product(int32_t number) const;

 private:
  void (*sgemm_)(int order, int transA, int transB, int m, int n, int k, float alpha,
                 const float* a, int lda, const float* b, int ldb, float beta, float* c, int ldc);
};

// Does the work while one thread for each of these libraries multiplies continuously. Returns false
// if a product differs from the one that the library computed before, alone.
bool besideProducts(const std::vector<HostBlas>& others, const std::function<void()>& work);

}  // namespace facefeature_test

#endif

// The Windows implementation, by the system's own functions.
#include <windows.h>
// Needs the types of the header above.
#include <bcrypt.h>

#include <algorithm>
#include <stdexcept>

#include "base/sha256.h"

namespace facefeature_tools {
namespace {

// The system's functions take 32-bit lengths.
constexpr size_t kMaxAtOnce = size_t{1} << 30;

void require(NTSTATUS status) {
  if (status < 0) throw std::runtime_error("Windows can't make a SHA-256 digest.");
}

}  // namespace

struct Sha256::State {
  State() {
    require(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
    const NTSTATUS status = BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0);
    if (status < 0) BCryptCloseAlgorithmProvider(algorithm, 0);
    require(status);
  }
  ~State() {
    BCryptDestroyHash(hash);
    BCryptCloseAlgorithmProvider(algorithm, 0);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}

Sha256::~Sha256() = default;

void Sha256::add(const void* bytes, size_t count) {
  // The system's function takes a pointer to non-const but only reads.
  UCHAR* next = static_cast<UCHAR*>(const_cast<void*>(bytes));
  while (count > 0) {
    const size_t part = std::min(count, kMaxAtOnce);
    require(BCryptHashData(state_->hash, next, static_cast<ULONG>(part), 0));
    next += part;
    count -= part;
  }
}

Digest Sha256::digest() {
  Digest digest;
  require(BCryptFinishHash(state_->hash, digest.data(), static_cast<ULONG>(digest.size()), 0));
  return digest;
}

}  // namespace facefeature_tools

#include "base/sha256.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace facefeature_tools {
namespace {

void require(int result) {
  if (result != 1) throw std::runtime_error("OpenSSL can't make a SHA-256 digest.");
}

}  // namespace

struct Sha256::State {
  State() : context(EVP_MD_CTX_new()) {}
  ~State() { EVP_MD_CTX_free(context); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  EVP_MD_CTX* const context;  // null if memory ran out
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
  require(state_->context != nullptr ? EVP_DigestInit_ex(state_->context, EVP_sha256(), nullptr)
                                     : 0);
}

Sha256::~Sha256() = default;

void Sha256::add(const void* bytes, size_t count) {
  require(EVP_DigestUpdate(state_->context, bytes, count));
}

Digest Sha256::digest() {
  Digest digest;
  unsigned int length = 0;
  require(EVP_DigestFinal_ex(state_->context, digest.data(), &length));
  return digest;
}

}  // namespace facefeature_tools

#include "sha256.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace facefeature_tools {
namespace {

void require(int result) {
  if (result != 1) throw std::runtime_error("OpenSSL can't make a SHA-256 digest.");
}

}  // namespace

void Sha256::ContextFreer::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
  require(context_ ? EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) : 0);
}

Sha256::~Sha256() = default;

void Sha256::add(const void* bytes, size_t count) {
  require(EVP_DigestUpdate(context_.get(), bytes, count));
}

Digest Sha256::digest() {
  Digest digest;
  unsigned int length = 0;
  require(EVP_DigestFinal_ex(context_.get(), digest.data(), &length));
  return digest;
}

}  // namespace facefeature_tools

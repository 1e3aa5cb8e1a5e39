// SHA-256, by OpenSSL.
#ifndef FACEFEATURE_TOOLS_SHA256_H
#define FACEFEATURE_TOOLS_SHA256_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

// OpenSSL's name for what a running digest is kept in.
struct evp_md_ctx_st;

namespace facefeature_tools {

using Digest = std::array<uint8_t, 32>;

class Sha256 {
 public:
  // Throws std::runtime_error where OpenSSL has no such digest.
  Sha256();
  ~Sha256();

  void add(const void* bytes, size_t count);

  // Of all bytes that were added. Ends the object's use.
  Digest digest();

 private:
  struct ContextFreer {
    void operator()(evp_md_ctx_st* context) const;
  };
  std::unique_ptr<evp_md_ctx_st, ContextFreer> context_;
};

}  // namespace facefeature_tools

#endif

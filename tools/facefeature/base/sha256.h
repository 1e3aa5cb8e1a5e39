// SHA-256, by OpenSSL; on Windows by the system.
#ifndef FACEFEATURE_TOOLS_BASE_SHA256_H
#define FACEFEATURE_TOOLS_BASE_SHA256_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace facefeature_tools {

using Digest = std::array<uint8_t, 32>;

class Sha256 {
 public:
  // Throws std::runtime_error if the digest is not available.
  Sha256();
  ~Sha256();

  void add(const void* bytes, size_t count);

  // The digest of all bytes added. The object must not be used afterwards.
  Digest digest();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace facefeature_tools

#endif

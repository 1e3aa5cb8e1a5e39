#include <sys/resource.h>

#include "service/worker_sandbox.h"

#if !defined(__SANITIZE_ADDRESS__) && defined(__has_feature)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#endif

namespace facefeature_tools {

void limitMemory(size_t bytes) {
#if !defined(__SANITIZE_ADDRESS__)
  if (bytes == 0) return;
  const rlimit limit = {bytes, bytes};
  setrlimit(RLIMIT_AS, &limit);
#else
  (void)bytes;
#endif
}

}  // namespace facefeature_tools

// Memory that runs out on request. Replaces the functions through which the program and all its
// libraries allocate: those of C++, those of C, page mapping, and thread creation (a thread's stack
// is memory too).
#ifndef FACEFEATURE_TESTS_EXHAUSTION_FAILING_MEMORY_H
#define FACEFEATURE_TESTS_EXHAUSTION_FAILING_MEMORY_H

#include <cstdint>

namespace facefeature_test {

enum class MemorySource {
  kNew,       // the variants of operator new that throw
  kQuietNew,  // the variants of operator new that return null
  kMalloc,    // malloc, calloc, realloc, memalign, from any caller but operator new
  kMapping,   // mmap, from any caller but the C library
  kThread,    // pthread_create, from any caller but the C library
  kHeap       // the first three together
};

enum class FailingFor { kOnce, kGood };

// During its lifetime, counts the requests to one source on all threads and fails request number
// `failing` (1 is the first; 0 fails none), or that one and all later ones. Only one may exist at a
// time.
class FailingMemory {
 public:
  explicit FailingMemory(MemorySource source, int64_t failing = 0,
                         FailingFor length = FailingFor::kOnce);
  ~FailingMemory();
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;

  static int64_t requests();  // number of requests so far
  static bool hasFailed();    // whether the failing request has occurred
};

// Number of blocks from operator new that are still allocated, since the start of the program.
int64_t liveBlocks();

// The caller's state at a request.
struct WatchedRequest {
  int64_t bytes;       // the caller
  int64_t liveBlocks;  // the caller's caller
};

// Records the requests to kNew in order in watched[0] and up, while both this object and a
// FailingMemory for kNew exist. Requests beyond the capacity are not recorded.
class RequestWatch {
 public:
  RequestWatch(WatchedRequest* watched, int64_t capacity);
  ~RequestWatch();
  RequestWatch(const RequestWatch&) = delete;
  RequestWatch& operator=(const RequestWatch&) = delete;
};

}  // namespace facefeature_test

#endif

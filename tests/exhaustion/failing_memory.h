// Memory that runs out when it is told to. What the program and all libraries in it ask for goes
// through the functions that this replaces: those of C++, those of C, the mapping of pages, and the
// starting of threads, whose stacks are memory too.
#ifndef FACEFEATURE_TESTS_EXHAUSTION_FAILING_MEMORY_H
#define FACEFEATURE_TESTS_EXHAUSTION_FAILING_MEMORY_H

#include <cstdint>

namespace facefeature_test {

enum class MemorySource {
  kNew,       // operator new in the forms that throw
  kQuietNew,  // operator new in the forms that return null
  kMalloc,    // malloc, calloc, realloc, memalign of everybody but operator new
  kMapping,   // mmap of everybody but the C library
  kThread,    // pthread_create of everybody but the C library
  kHeap       // the first three together
};

enum class FailingFor { kOnce, kGood };

// Counts what is asked of one source for as long as it stands, on all threads, and lets request
// number `failing` (from 1; 0: none) fail, or that one and all behind it. One at a time.
class FailingMemory {
 public:
  explicit FailingMemory(MemorySource source, int64_t failing = 0,
                         FailingFor length = FailingFor::kOnce);
  ~FailingMemory();
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;

  static int64_t requests();  // so far
  static bool hasFailed();    // whether the failing one has come
};

// Blocks from operator new that nobody has given back, since the start of the program.
int64_t standingBlocks();

// What a request found.
struct WatchedRequest {
  int64_t bytes;           // that it asked for
  int64_t standingBlocks;  // ahead of it
};

// Tells the requests of kNew in order, for as long as it and a FailingMemory for kNew stand, into
// watched[0] and on; what comes behind the capacity is not told.
class RequestWatch {
 public:
  RequestWatch(WatchedRequest* watched, int64_t capacity);
  ~RequestWatch();
  RequestWatch(const RequestWatch&) = delete;
  RequestWatch& operator=(const RequestWatch&) = delete;
};

}  // namespace facefeature_test

#endif

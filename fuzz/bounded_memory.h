// Memory that is limited, never zeroed, and always freed.
//
// A target that links bounded_memory.cpp has its own operator new and delete. Outside of a scope
// they behave like the usual ones.
#ifndef FACEFEATURE_FUZZ_BOUNDED_MEMORY_H
#define FACEFEATURE_FUZZ_BOUNDED_MEMORY_H

#include <cstddef>
#include <cstdint>

namespace facefeature_fuzz {

// During the lifetime of a scope, on its thread (only one at a time):
//
// An allocation of more than maxBytes throws std::bad_alloc. A header that asks for gigabytes then
// fails as on a machine without them, and fails fast.
//
// New memory is filled with the byte `fill`. Two runs with different fills differ if uninitialised
// memory reaches a result.
//
// Blocks that were allocated within the scope and are still alive are freed at its end: what the
// library leaks by design when a construction fails would fill the memory of a long run. So nothing
// that was created within a scope may be used after it.
class MemoryScope {
 public:
  MemoryScope(size_t maxBytes, uint8_t fill);
  ~MemoryScope();
  void fillWith(uint8_t fill);
  MemoryScope(const MemoryScope&) = delete;
  MemoryScope& operator=(const MemoryScope&) = delete;
};

}  // namespace facefeature_fuzz

#endif

// Memory that runs out early, is never clean, and is given back.
//
// A target that links bounded_memory.cpp has operator new and delete of its own. Outside of a scope
// they are the ordinary ones.
#ifndef FACEFEATURE_FUZZ_BOUNDED_MEMORY_H
#define FACEFEATURE_FUZZ_BOUNDED_MEMORY_H

#include <cstddef>
#include <cstdint>

namespace facefeature_fuzz {

// While a scope stands, on its thread and one at a time:
//
// An allocation of more than mostBytes throws std::bad_alloc, so that a header that asks for
// gigabytes ends as on a machine that has not got them, and ends there soon.
//
// New memory is full of the byte fill. Two runs with different ones differ where they let heap
// leftovers reach a result.
//
// What was allocated within it and still stands is freed at its end: what the library loses by
// design when a construction fails would fill the memory of a long run. So nothing that was made
// within a scope may be used after it.
class MemoryScope {
 public:
  MemoryScope(size_t mostBytes, uint8_t fill);
  ~MemoryScope();
  void fillWith(uint8_t fill);
  MemoryScope(const MemoryScope&) = delete;
  MemoryScope& operator=(const MemoryScope&) = delete;
};

}  // namespace facefeature_fuzz

#endif

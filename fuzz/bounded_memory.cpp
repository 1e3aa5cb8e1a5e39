#include "bounded_memory.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace facefeature_fuzz {
namespace {

constexpr size_t kMaxBlocks = size_t{1} << 16;

// Plain memory, since a container would call these operators for its own.
struct Scope {
  bool exists;
  size_t maxBytes;
  uint8_t fill;
  size_t blockCount;
  void* blocks[kMaxBlocks];
};

thread_local Scope scope;

void* allocated(size_t size) {
  if (!scope.exists) return std::malloc(size > 0 ? size : 1);
  if (size > scope.maxBytes || scope.blockCount == kMaxBlocks) return nullptr;
  void* block = std::malloc(size > 0 ? size : 1);
  if (block == nullptr) return nullptr;
  std::memset(block, scope.fill, size);
  scope.blocks[scope.blockCount++] = block;
  return block;
}

// The newest first: most blocks are short-lived.
void forget(void* block) {
  for (size_t i = scope.blockCount; i > 0; --i) {
    if (scope.blocks[i - 1] != block) continue;
    scope.blocks[i - 1] = scope.blocks[--scope.blockCount];
    return;
  }
}

void release(void* block) {
  if (block == nullptr) return;
  if (scope.exists) forget(block);
  std::free(block);
}

void* allocatedOrThrow(size_t size) {
  void* block = allocated(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

MemoryScope::MemoryScope(size_t maxBytes, uint8_t fill) {
  if (scope.exists) std::abort();
  scope.exists = true;
  scope.maxBytes = maxBytes;
  scope.fill = fill;
}

MemoryScope::~MemoryScope() {
  scope.exists = false;
  while (scope.blockCount > 0) std::free(scope.blocks[--scope.blockCount]);
}

void MemoryScope::fillWith(uint8_t fill) { scope.fill = fill; }

}  // namespace facefeature_fuzz

using facefeature_fuzz::allocated;
using facefeature_fuzz::allocatedOrThrow;
using facefeature_fuzz::release;

void* operator new(size_t size) { return allocatedOrThrow(size); }
void* operator new[](size_t size) { return allocatedOrThrow(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return allocated(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return allocated(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, size_t) noexcept { release(block); }
void operator delete[](void* block, size_t) noexcept { release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { release(block); }

#include "exhaustion/failing_memory.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <new>

// The C library's own functions, under the names that remain when the usual ones are replaced.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* memory);
}

namespace facefeature_test {
namespace {

constexpr int32_t kNoSource = -1;

// Plain atomics: they exist before any initialiser has run.
std::atomic<int32_t> armedSource{kNoSource};
std::atomic<int64_t> requestCount{0};
std::atomic<int64_t> failingRequest{0};
std::atomic<bool> failsForGood{false};
std::atomic<bool> failed{false};
std::atomic<int64_t> blocks{0};
std::atomic<WatchedRequest*> watched{nullptr};
std::atomic<int64_t> watchedCapacity{0};

bool isArmed(MemorySource source) {
  const int32_t armed = armedSource.load();
  return armed == static_cast<int32_t>(source) ||
         (armed == static_cast<int32_t>(MemorySource::kHeap) && source <= MemorySource::kMalloc);
}

// Counts a request. Returns true if it is to fail.
bool failsNow(MemorySource source, size_t bytes) {
  if (!isArmed(source)) return false;
  const int64_t number = ++requestCount;
  WatchedRequest* const watch = watched.load();
  if (watch != nullptr && number <= watchedCapacity.load()) {
    watch[number - 1] = {static_cast<int64_t>(bytes), blocks.load()};
  }
  const int64_t failing = failingRequest.load();
  if (failing == 0 || number < failing || (number > failing && !failsForGood.load())) return false;
  failed = true;
  errno = ENOMEM;
  return true;
}

void* newBlock(MemorySource source, size_t size, size_t alignment) noexcept {
  if (failsNow(source, size)) return nullptr;
  const size_t wanted = size > 0 ? size : 1;
  void* const memory = alignment == 0 ? __libc_malloc(wanted) : __libc_memalign(alignment, wanted);
  if (memory != nullptr) ++blocks;
  return memory;
}

void* newBlockOrThrow(size_t size, size_t alignment) {
  void* const memory = newBlock(MemorySource::kNew, size, alignment);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void freeBlock(void* memory) noexcept {
  if (memory == nullptr) return;
  --blocks;
  __libc_free(memory);
}

}  // namespace

FailingMemory::FailingMemory(MemorySource source, int64_t failing, FailingFor length) {
  requestCount = 0;
  failed = false;
  failingRequest = failing;
  failsForGood = length == FailingFor::kGood;
  armedSource = static_cast<int32_t>(source);
}

FailingMemory::~FailingMemory() { armedSource = kNoSource; }

int64_t FailingMemory::requests() { return requestCount.load(); }
bool FailingMemory::hasFailed() { return failed.load(); }

int64_t liveBlocks() { return blocks.load(); }

RequestWatch::RequestWatch(WatchedRequest* requests, int64_t capacity) {
  watchedCapacity = capacity;
  watched = requests;
}

RequestWatch::~RequestWatch() { watched = nullptr; }

}  // namespace facefeature_test

using facefeature_test::failsNow;
using facefeature_test::freeBlock;
using facefeature_test::MemorySource;
using facefeature_test::newBlock;
using facefeature_test::newBlockOrThrow;

namespace {
size_t bytesOf(std::align_val_t alignment) { return static_cast<size_t>(alignment); }
}  // namespace

// Exported, so that the program's libraries bind to these instead of their own.
#define REPLACES_THE_LIBRARYS __attribute__((visibility("default"), noinline))

REPLACES_THE_LIBRARYS void* operator new(size_t size) { return newBlockOrThrow(size, 0); }
REPLACES_THE_LIBRARYS void* operator new[](size_t size) { return newBlockOrThrow(size, 0); }
REPLACES_THE_LIBRARYS void* operator new(size_t size, std::align_val_t alignment) {
  return newBlockOrThrow(size, bytesOf(alignment));
}
REPLACES_THE_LIBRARYS void* operator new[](size_t size, std::align_val_t alignment) {
  return newBlockOrThrow(size, bytesOf(alignment));
}
REPLACES_THE_LIBRARYS void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return newBlock(MemorySource::kQuietNew, size, 0);
}
REPLACES_THE_LIBRARYS void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return newBlock(MemorySource::kQuietNew, size, 0);
}
REPLACES_THE_LIBRARYS void operator delete(void* memory) noexcept { freeBlock(memory); }
REPLACES_THE_LIBRARYS void operator delete[](void* memory) noexcept { freeBlock(memory); }
REPLACES_THE_LIBRARYS void operator delete(void* memory, size_t) noexcept { freeBlock(memory); }
REPLACES_THE_LIBRARYS void operator delete[](void* memory, size_t) noexcept { freeBlock(memory); }
REPLACES_THE_LIBRARYS void operator delete(void* memory, std::align_val_t) noexcept {
  freeBlock(memory);
}
REPLACES_THE_LIBRARYS void operator delete[](void* memory, std::align_val_t) noexcept {
  freeBlock(memory);
}
REPLACES_THE_LIBRARYS void operator delete(void* memory, const std::nothrow_t&) noexcept {
  freeBlock(memory);
}
REPLACES_THE_LIBRARYS void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  freeBlock(memory);
}

extern "C" {

REPLACES_THE_LIBRARYS void* malloc(size_t size) noexcept {
  return failsNow(MemorySource::kMalloc, size) ? nullptr : __libc_malloc(size);
}

REPLACES_THE_LIBRARYS void* calloc(size_t count, size_t size) noexcept {
  return failsNow(MemorySource::kMalloc, count * size) ? nullptr : __libc_calloc(count, size);
}

REPLACES_THE_LIBRARYS void* realloc(void* memory, size_t size) noexcept {
  return failsNow(MemorySource::kMalloc, size) ? nullptr : __libc_realloc(memory, size);
}

REPLACES_THE_LIBRARYS void* memalign(size_t alignment, size_t size) noexcept {
  return failsNow(MemorySource::kMalloc, size) ? nullptr : __libc_memalign(alignment, size);
}

REPLACES_THE_LIBRARYS void* mmap(void* address, size_t length, int protection, int flags, int file,
                                 off_t offset) noexcept {
  if (failsNow(MemorySource::kMapping, length)) {
    errno = ENOMEM;
    return MAP_FAILED;
  }
  return reinterpret_cast<void*>(
      syscall(SYS_mmap, address, length, protection, flags, file, offset));
}

REPLACES_THE_LIBRARYS int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                         void* (*function)(void*), void* argument) noexcept {
  if (failsNow(MemorySource::kThread, 0)) return EAGAIN;
  static const auto original =
      reinterpret_cast<decltype(&::pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return original(thread, attributes, function, argument);
}

}  // extern "C"

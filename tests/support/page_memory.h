// Pages of memory straight from the system: address space first, and accessible memory in it on
// request.
#ifndef FACEFEATURE_TESTS_SUPPORT_PAGE_MEMORY_H
#define FACEFEATURE_TESTS_SUPPORT_PAGE_MEMORY_H

#if !defined(_WIN32)
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstddef>
#include <cstdint>
#include <new>

#include "support/windows_header.h"

namespace facefeature_test {

// Reserved address space. Any access ends the process until open() was called for the page. Throws
// std::bad_alloc.
class PageMemory {
 public:
  explicit PageMemory(size_t bytes) : bytes_(bytes) {
#if defined(_WIN32)
    start_ = static_cast<uint8_t*>(VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS));
    if (start_ == nullptr) throw std::bad_alloc();
#else
    void* const memory =
        mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    start_ = static_cast<uint8_t*>(memory);
#endif
  }
  ~PageMemory() {
#if defined(_WIN32)
    VirtualFree(start_, 0, MEM_RELEASE);
#else
    munmap(start_, bytes_);
#endif
  }
  PageMemory(const PageMemory&) = delete;
  PageMemory& operator=(const PageMemory&) = delete;

  uint8_t* start() const { return start_; }

  // Makes the pages from this offset (a multiple of pageSize()) to the end readable and writable.
  void open(size_t offset, size_t bytes) const {
#if defined(_WIN32)
    const bool opened = VirtualAlloc(start_ + offset, bytes, MEM_COMMIT, PAGE_READWRITE) != nullptr;
#else
    const bool opened = mprotect(start_ + offset, bytes, PROT_READ | PROT_WRITE) == 0;
#endif
    if (!opened) throw std::bad_alloc();
  }

  static size_t pageSize() {
#if defined(_WIN32)
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    return system.dwPageSize;
#else
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
#endif
  }

 private:
  uint8_t* start_;
  size_t bytes_;
};

}  // namespace facefeature_test

#endif

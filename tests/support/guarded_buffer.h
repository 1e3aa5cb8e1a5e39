// Memory that ends a test program at a read or write beside it, with or without a sanitizer.
#ifndef FACEFEATURE_TESTS_SUPPORT_GUARDED_BUFFER_H
#define FACEFEATURE_TESTS_SUPPORT_GUARDED_BUFFER_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace facefeature_test {

// Bytes whose one end lies against a page that can't be touched. A kernel that loads a few bytes
// more than it needs, which mostly goes unnoticed, crashes here.
class GuardedBuffer {
 public:
  enum class Guard { kBehind, kAhead };

  GuardedBuffer(const std::vector<uint8_t>& contents, Guard guard) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t room = (contents.size() + page - 1) / page * page;
    length_ = room + 2 * page;
    void* memory = mmap(nullptr, length_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    memory_ = static_cast<uint8_t*>(memory);
    if (mprotect(memory_ + page, room, PROT_READ | PROT_WRITE) != 0) {
      munmap(memory_, length_);
      throw std::bad_alloc();
    }
    data_ = memory_ + page + (guard == Guard::kBehind ? room - contents.size() : 0);
    std::memcpy(data_, contents.data(), contents.size());
  }
  ~GuardedBuffer() { munmap(memory_, length_); }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  uint8_t* data() { return data_; }

 private:
  uint8_t* memory_;
  uint8_t* data_;
  size_t length_;
};

}  // namespace facefeature_test

#endif

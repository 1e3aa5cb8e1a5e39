// Memory that ends a test program at a read or write outside of it, with or without a sanitizer.
#ifndef FACEFEATURE_TESTS_SUPPORT_GUARDED_BUFFER_H
#define FACEFEATURE_TESTS_SUPPORT_GUARDED_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "support/page_memory.h"

namespace facefeature_test {

// Bytes that end, or begin, at an inaccessible page. A kernel that loads a few bytes more than it
// needs, which mostly goes unnoticed, crashes here.
class GuardedBuffer {
 public:
  enum class Guard { kAfter, kBefore };

  GuardedBuffer(const std::vector<uint8_t>& contents, Guard guard)
      : room_((contents.size() + kPage - 1) / kPage * kPage), memory_(room_ + 2 * kPage) {
    if (room_ > 0) memory_.open(kPage, room_);
    data_ = memory_.start() + kPage + (guard == Guard::kAfter ? room_ - contents.size() : 0);
    if (!contents.empty()) std::memcpy(data_, contents.data(), contents.size());
  }

  uint8_t* data() { return data_; }

 private:
  static inline const size_t kPage = PageMemory::pageSize();

  size_t room_;
  PageMemory memory_;
  uint8_t* data_;
};

}  // namespace facefeature_test

#endif

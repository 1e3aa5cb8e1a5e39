// A picture next to inaccessible pages.
#ifndef FACEFEATURE_TESTS_SUPPORT_GUARDED_PICTURE_H
#define FACEFEATURE_TESTS_SUPPORT_GUARDED_PICTURE_H

#include <cstddef>
#include <cstdint>

#include "support/guarded_buffer.h"
#include "support/pictures.h"

namespace facefeature_test {

// A copy of the picture whose last, or first, byte in memory is next to an inaccessible page: a
// warp that reads outside of it ends the program.
class GuardedPicture {
 public:
  GuardedPicture(const Picture& picture, GuardedBuffer::Guard guard)
      : buffer_(picture.storage, guard), top_(picture.pixels() - picture.storage.data()) {}

  const uint8_t* pixels() { return buffer_.data() + top_; }

 private:
  GuardedBuffer buffer_;
  std::ptrdiff_t top_;
};

}  // namespace facefeature_test

#endif

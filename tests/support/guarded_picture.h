// A picture against pages that can't be touched.
#ifndef FACEFEATURE_TESTS_SUPPORT_GUARDED_PICTURE_H
#define FACEFEATURE_TESTS_SUPPORT_GUARDED_PICTURE_H

#include <cstddef>
#include <cstdint>

#include "support/guarded_buffer.h"
#include "support/pictures.h"

namespace facefeature_test {

// A copy of the picture whose last byte in memory lies against a closed page, or whose first does:
// a warp that reads beside it ends the program.
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

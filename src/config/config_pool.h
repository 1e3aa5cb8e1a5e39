// The memory of the strings of one document.
#ifndef FACEFEATURE_CONFIG_CONFIG_POOL_H
#define FACEFEATURE_CONFIG_CONFIG_POOL_H

#include <cstdint>

namespace facefeature {

// One block of the pool: bytes are handed out from its start on and are not reclaimed one by one.
struct ConfigPoolBlock {
  uint32_t capacity;     // bytes in memory
  uint32_t used;         // bytes handed out, from the start of memory
  uint32_t allocations;  // pieces handed out
  uint32_t releases;     // pieces released
  char* memory;          // owned
};

// A block allocator whose pieces are all freed together. A text needs a few large allocations
// instead of one for each of its strings: sixteen blocks whose sizes add up to about the text's
// length. The pieces are bytes and have no alignment.
class ConfigPool {
 public:
  // textLength sizes the blocks: 16 of (textLength >> 4) + 1 bytes.
  explicit ConfigPool(uint32_t textLength);
  ~ConfigPool();
  ConfigPool(const ConfigPool&) = delete;
  ConfigPool& operator=(const ConfigPool&) = delete;

  // Returns size uninitialised bytes, valid until the pool is destroyed. Throws std::bad_alloc.
  char* allocate(uint32_t size);

  // Counts a piece as released. Its bytes are not reused. Once every piece of a block is released,
  // the block is freed, unless it is the one being filled. A pointer that belongs to no block is
  // ignored.
  void release(const char* pointer);

  // Frees every block after the one being filled: after a parse only blocks with data remain.
  void trim();

  uint32_t blockCount;       // starts at 16
  uint32_t currentBlock;     // index of the block being filled
  uint32_t blockSize;        // capacity of a new block; never shrinks
  ConfigPoolBlock** blocks;  // exactly blockCount pointers, owned with what they point to

 private:
  void appendBlock();
  void removeBlock(uint32_t index);
};

}  // namespace facefeature

#endif

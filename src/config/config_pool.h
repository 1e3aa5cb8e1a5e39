// The memory behind the strings of one document.
#ifndef FACEFEATURE_CONFIG_CONFIG_POOL_H
#define FACEFEATURE_CONFIG_CONFIG_POOL_H

#include <cstdint>

namespace facefeature {

// One piece of the pool: bytes are handed out from its start on and are not taken back one by one.
struct ConfigPoolBlock {
  uint32_t capacity;     // bytes in memory
  uint32_t used;         // bytes handed out, from the start of memory
  uint32_t allocations;  // pieces handed out
  uint32_t releases;     // pieces given back
  char* memory;          // owned
};

// A block allocator whose pieces all die together. A text becomes a few large allocations instead
// of one for each of its strings: sixteen blocks whose sizes add up to about the text's length.
// Nothing is aligned; it is for bytes.
class ConfigPool {
 public:
  // textLength sizes the blocks: 16 of (textLength >> 4) + 1 bytes.
  explicit ConfigPool(uint32_t textLength);
  ~ConfigPool();
  ConfigPool(const ConfigPool&) = delete;
  ConfigPool& operator=(const ConfigPool&) = delete;

  // Returns size bytes, not cleared, good until the pool dies. Throws std::bad_alloc.
  char* allocate(uint32_t size);

  // Counts a piece as given back. Its bytes are not used again before every piece of its block has
  // come back; the block then goes, unless it is the one being filled. A pointer that no block
  // holds is passed over.
  void release(const char* pointer);

  // Frees every block behind the one being filled: after a parse only blocks with data are left.
  void trim();

  uint32_t blockCount;       // starts at 16
  uint32_t currentBlock;     // index of the block being filled
  uint32_t blockSize;        // capacity of a new block; only ever grows
  ConfigPoolBlock** blocks;  // exactly blockCount pointers, owned with what they point to

 private:
  void appendBlock();
  void removeBlock(uint32_t index);
};

}  // namespace facefeature

#endif

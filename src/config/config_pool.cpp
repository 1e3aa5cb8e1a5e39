#include "config/config_pool.h"

#include <algorithm>
#include <functional>
#include <memory>

namespace facefeature {
namespace {

constexpr uint32_t kFirstBlocks = 16;

ConfigPoolBlock* newBlock(uint32_t capacity) {
  std::unique_ptr<ConfigPoolBlock> block(new ConfigPoolBlock{capacity, 0, 0, 0, nullptr});
  block->memory = new char[capacity];
  return block.release();
}

void freeBlock(ConfigPoolBlock* block) {
  delete[] block->memory;
  delete block;
}

uint32_t freeBytes(const ConfigPoolBlock& block) { return block.capacity - block.used; }

// The block is empty, so there is nothing to copy.
void replaceMemory(ConfigPoolBlock& block, uint32_t capacity) {
  char* memory = new char[capacity];
  delete[] block.memory;
  block.memory = memory;
  block.capacity = capacity;
}

}  // namespace

ConfigPool::ConfigPool(uint32_t textLength)
    : blockCount(0), currentBlock(0), blockSize((textLength >> 4) + 1), blocks(nullptr) {
  while (blockCount < kFirstBlocks) appendBlock();
}

ConfigPool::~ConfigPool() {
  std::for_each(blocks, blocks + blockCount, freeBlock);
  delete[] blocks;
}

char* ConfigPool::allocate(uint32_t size) {
  // The rest of a block that is skipped stays unused. currentBlock may point past the end: a
  // release that removes a block before it does not adjust it.
  while (currentBlock >= blockCount || freeBytes(*blocks[currentBlock]) < size) {
    if (currentBlock < blockCount) ++currentBlock;
    blockSize = std::max(blockSize, size);
    if (currentBlock >= blockCount) {
      appendBlock();
    } else if (freeBytes(*blocks[currentBlock]) < size) {
      replaceMemory(*blocks[currentBlock], blockSize);
    }
  }
  ConfigPoolBlock& block = *blocks[currentBlock];
  char* piece = block.memory + block.used;
  block.used += size;
  ++block.allocations;
  return piece;
}

void ConfigPool::release(const char* pointer) {
  for (uint32_t i = 0; i < blockCount; ++i) {
    ConfigPoolBlock& block = *blocks[i];
    const std::less<const char*> isBefore;
    if (isBefore(pointer, block.memory) || !isBefore(pointer, block.memory + block.capacity)) {
      continue;
    }
    ++block.releases;
    if (block.releases == block.allocations && i != currentBlock) {
      removeBlock(i);
      if (blockCount == 0) appendBlock();
    }
    return;
  }
}

void ConfigPool::trim() {
  while (currentBlock + 1 < blockCount) removeBlock(currentBlock + 1);
}

void ConfigPool::appendBlock() {
  std::unique_ptr<ConfigPoolBlock*[]> longer(new ConfigPoolBlock*[blockCount + 1]);
  std::copy(blocks, blocks + blockCount, longer.get());
  longer[blockCount] = newBlock(blockSize);
  delete[] blocks;
  blocks = longer.release();
  ++blockCount;
}

void ConfigPool::removeBlock(uint32_t index) {
  ConfigPoolBlock** shorter = new ConfigPoolBlock*[blockCount - 1];
  std::copy(blocks, blocks + index, shorter);
  std::copy(blocks + index + 1, blocks + blockCount, shorter + index);
  freeBlock(blocks[index]);
  delete[] blocks;
  blocks = shorter;
  --blockCount;
}

}  // namespace facefeature

#include "config/config_pool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "support/config_checks.h"
#include "support/reference_config.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConfigPool;
using facefeature::ConfigPoolBlock;

TEST(ConfigPool, StartsWithSixteenEmptyBlocksOfASixteenthOfTheTextAndOneByte) {
  for (const uint32_t textLength : {0u, 1u, 15u, 16u, 17u, 255u, 1677u, 100000u}) {
    SCOPED_TRACE(textLength);
    const ConfigPool pool(textLength);
    EXPECT_EQ(16u, pool.blockCount);
    EXPECT_EQ(0u, pool.currentBlock);
    EXPECT_EQ(textLength / 16 + 1, pool.blockSize);
    for (uint32_t i = 0; i < 16; ++i) {
      EXPECT_EQ(textLength / 16 + 1, pool.blocks[i]->capacity);
      EXPECT_EQ(0u, pool.blocks[i]->used);
      EXPECT_EQ(0u, pool.blocks[i]->allocations);
      EXPECT_EQ(0u, pool.blocks[i]->releases);
    }
  }
}

TEST(ConfigPoolAllocate, PiecesFollowEachOtherWithoutAlignment) {
  ConfigPool pool(160);  // blocks of 11 bytes
  char* first = pool.allocate(3);
  EXPECT_EQ(pool.blocks[0]->memory, first);
  EXPECT_EQ(first + 3, pool.allocate(1));
  EXPECT_EQ(first + 4, pool.allocate(7));
  EXPECT_EQ(11u, pool.blocks[0]->used);
  EXPECT_EQ(3u, pool.blocks[0]->allocations);
  EXPECT_EQ(0u, pool.currentBlock);
}

TEST(ConfigPoolAllocate, RestOfASkippedBlockStaysUnused) {
  ConfigPool pool(160);
  pool.allocate(10);
  EXPECT_EQ(pool.blocks[1]->memory, pool.allocate(2));
  EXPECT_EQ(pool.blocks[1]->memory + 2, pool.allocate(1));
  EXPECT_EQ(10u, pool.blocks[0]->used);
  EXPECT_EQ(1u, pool.currentBlock);
}

TEST(ConfigPoolAllocate, PieceLongerThanABlockEnlargesTheNextBlockAndAllNewOnes) {
  ConfigPool pool(0);  // blocks of 1 byte
  EXPECT_NE(nullptr, pool.allocate(10));
  EXPECT_EQ(1u, pool.currentBlock);
  EXPECT_EQ(10u, pool.blockSize);
  EXPECT_EQ(1u, pool.blocks[0]->capacity);
  EXPECT_EQ(10u, pool.blocks[1]->capacity);
  EXPECT_EQ(1u, pool.blocks[2]->capacity);

  // Too small for two bytes, so it gets the size that new blocks now have.
  pool.allocate(2);
  EXPECT_EQ(2u, pool.currentBlock);
  EXPECT_EQ(10u, pool.blocks[2]->capacity);
  EXPECT_EQ(16u, pool.blockCount);
}

TEST(ConfigPoolAllocate, ShorterPieceNeverLowersTheBlockSize) {
  ConfigPool pool(0);
  pool.allocate(50);
  pool.allocate(20);
  EXPECT_EQ(50u, pool.blockSize);
}

TEST(ConfigPoolAllocate, BlockIsAppendedAfterTheLastOne) {
  ConfigPool pool(0);
  for (int i = 0; i < 16; ++i) pool.allocate(1);
  EXPECT_EQ(15u, pool.currentBlock);
  EXPECT_EQ(16u, pool.blockCount);
  char* piece = pool.allocate(1);
  EXPECT_EQ(16u, pool.currentBlock);
  EXPECT_EQ(17u, pool.blockCount);
  EXPECT_EQ(pool.blocks[16]->memory, piece);
  EXPECT_EQ(1u, pool.blocks[16]->capacity);
}

TEST(ConfigPoolAllocate, PieceThatNoBlockHasRoomForGoesIntoAnAppendedBlock) {
  ConfigPool pool(0);
  for (int i = 0; i < 16; ++i) pool.allocate(1);
  std::memset(pool.allocate(1000), 7, 1000);
  EXPECT_EQ(17u, pool.blockCount);
  EXPECT_EQ(1000u, pool.blocks[16]->capacity);
  EXPECT_EQ(1000u, pool.blockSize);
}

TEST(ConfigPoolAllocate, PieceWithoutBytesIsCountedInTheCurrentBlock) {
  ConfigPool pool(0);
  pool.allocate(1);
  EXPECT_EQ(pool.blocks[0]->memory + 1, pool.allocate(0));
  EXPECT_EQ(2u, pool.blocks[0]->allocations);
  EXPECT_EQ(0u, pool.currentBlock);
}

TEST(ConfigPoolTrim, LeavesTheBlocksUpToTheOneInUse) {
  ConfigPool pool(160);
  char* first = pool.allocate(11);
  std::memset(first, 1, 11);
  char* second = pool.allocate(11);
  std::memset(second, 2, 11);
  pool.trim();
  ASSERT_EQ(2u, pool.blockCount);
  EXPECT_EQ(1u, pool.currentBlock);
  EXPECT_EQ(first, pool.blocks[0]->memory);
  EXPECT_EQ(second, pool.blocks[1]->memory);
  EXPECT_EQ(1, first[10]);
  EXPECT_EQ(2, second[10]);
  pool.trim();
  EXPECT_EQ(2u, pool.blockCount);
}

TEST(ConfigPoolTrim, UnusedPoolKeepsOneBlock) {
  ConfigPool pool(0);
  pool.trim();
  EXPECT_EQ(1u, pool.blockCount);
  pool.allocate(5);
  EXPECT_EQ(2u, pool.blockCount);
}

TEST(ConfigPoolRelease, CountsWithoutReusingBytes) {
  ConfigPool pool(160);
  char* first = pool.allocate(4);
  char* second = pool.allocate(4);
  pool.release(first);
  EXPECT_EQ(1u, pool.blocks[0]->releases);
  EXPECT_EQ(2u, pool.blocks[0]->allocations);
  EXPECT_EQ(8u, pool.blocks[0]->used);
  EXPECT_EQ(second + 4, pool.allocate(3));
}

TEST(ConfigPoolRelease, CurrentBlockStaysWhenAllItsPiecesAreReleased) {
  ConfigPool pool(160);
  pool.release(pool.allocate(4));
  EXPECT_EQ(16u, pool.blockCount);
  EXPECT_EQ(1u, pool.blocks[0]->releases);
  EXPECT_EQ(4u, pool.blocks[0]->used);
}

TEST(ConfigPoolRelease, EarlierBlockIsFreedWithItsLastPieceAndTheCurrentIndexStays) {
  ConfigPool pool(160);
  char* first = pool.allocate(4);
  char* second = pool.allocate(7);
  pool.allocate(11);
  ConfigPoolBlock* third = pool.blocks[2];
  pool.release(second);
  EXPECT_EQ(16u, pool.blockCount);
  pool.release(first + 3);  // any byte of the piece identifies its block
  EXPECT_EQ(15u, pool.blockCount);
  EXPECT_EQ(1u, pool.currentBlock);
  EXPECT_EQ(third, pool.blocks[1]);
  EXPECT_EQ(third->memory, pool.allocate(1));
}

TEST(ConfigPoolRelease, PoolWithoutBlocksGetsAFreshOne) {
  ConfigPool pool(160);
  char* first = pool.allocate(11);
  char* second = pool.allocate(20);
  pool.trim();
  pool.release(first);
  ASSERT_EQ(1u, pool.blockCount);
  pool.release(second);  // no longer the current one: the index is still 1
  ASSERT_EQ(1u, pool.blockCount);
  EXPECT_EQ(20u, pool.blocks[0]->capacity);
  EXPECT_EQ(0u, pool.blocks[0]->used);
  EXPECT_EQ(0u, pool.blocks[0]->allocations);
  EXPECT_EQ(0u, pool.blocks[0]->releases);
}

TEST(ConfigPoolRelease, PointerOfNoBlockChangesNothing) {
  ConfigPool pool(160);
  pool.allocate(4);
  const char stranger = 'x';
  pool.release(&stranger);
  EXPECT_EQ(16u, pool.blockCount);
  for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(0u, pool.blocks[i]->releases);
}

TEST(ConfigPoolRelease, PoolWhoseEarlierBlocksAreAllFreedStillAllocates) {
  ConfigPool pool(160);
  char* pieces[3];
  for (char*& piece : pieces) piece = pool.allocate(11);
  pool.trim();
  pool.release(pieces[0]);
  pool.release(pieces[1]);
  ASSERT_EQ(1u, pool.blockCount);
  ASSERT_EQ(2u, pool.currentBlock);
  std::memset(pieces[2], 3, 11);
  std::memset(pool.allocate(11), 4, 11);
  EXPECT_EQ(std::string(11, 3), std::string(pieces[2], 11));
}

struct Piece {
  char* bytes;
  uint32_t size;
  char fill;
  ConfigPoolBlock* block;
};

uint32_t indexOf(const ConfigPool& pool, const ConfigPoolBlock* block) {
  uint32_t index = 0;
  while (index < pool.blockCount && pool.blocks[index] != block) ++index;
  return index;
}

void expectUntouched(const std::vector<Piece>& pieces) {
  for (const Piece& piece : pieces) {
    const std::string wanted(piece.size, piece.fill);
    ASSERT_EQ(wanted, std::string(piece.bytes, piece.size));
  }
}

// If a released block before the last one is removed, the index of the current block refers to the
// block after it. A pool whose index has run past its blocks is not used any further.
TEST(ConfigPool, AnySequenceOfCallsKeepsThePiecesAndTheCounts) {
  SeededRandom random;
  for (int run = 0; run < 300; ++run) {
    const uint32_t textLength = static_cast<uint32_t>(random.integer(0, 400));
    ConfigPool pool(textLength);
    reference::PoolModel model(textLength);
    std::vector<Piece> pieces;
    for (int step = 0; step < 120 && model.currentBlock < model.blocks.size(); ++step) {
      const int32_t what = random.integer(0, 99);
      if (what == 0) {
        pool.trim();
        model.trim();
      } else if (what < 30 && !pieces.empty()) {
        const size_t which =
            static_cast<size_t>(random.integer(0, static_cast<int32_t>(pieces.size()) - 1));
        const Piece piece = pieces[which];
        pieces.erase(pieces.begin() + static_cast<std::ptrdiff_t>(which));
        model.releaseFrom(indexOf(pool, piece.block));
        pool.release(piece.bytes);
      } else {
        const uint32_t size = static_cast<uint32_t>(random.chance(5) ? random.integer(1, 200)
                                                                     : random.integer(1, 20));
        const reference::PoolModel::Position position = model.allocate(size);
        char* bytes = pool.allocate(size);
        ASSERT_LT(position.block, pool.blockCount);
        ASSERT_EQ(pool.blocks[position.block]->memory + position.offset, bytes);
        pieces.push_back({bytes, size, static_cast<char>(step + 1), pool.blocks[position.block]});
        std::memset(bytes, pieces.back().fill, size);
      }
      ASSERT_NO_FATAL_FAILURE(expectSamePool(model, pool));
    }
    ASSERT_NO_FATAL_FAILURE(expectUntouched(pieces));
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace facefeature_test

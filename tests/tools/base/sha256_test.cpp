// Compares the digest with published ones, for input in pieces of any size.
#include "base/sha256.h"

#include <gtest/gtest.h>

#include <string>

#include "model/model_fingerprint.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature_tools::hexText;
using facefeature_tools::Sha256;

std::string digestOf(const std::string& text) {
  Sha256 hash;
  hash.add(text.data(), text.size());
  return hexText(hash.digest());
}

TEST(Sha256, OfKnownTextsIsKnown) {
  EXPECT_EQ("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855", digestOf(""));
  EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", digestOf("abc"));
  EXPECT_EQ("248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1",
            digestOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"));
  EXPECT_EQ("cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0",
            digestOf(std::string(1000000, 'a')));
}

TEST(Sha256, OfPiecesIsThatOfTheWhole) {
  SeededRandom random;
  std::string whole;
  Sha256 hash;
  for (int round = 0; round < 50; ++round) {
    const auto piece = random.bytes(static_cast<size_t>(random.integer(0, 200)));
    hash.add(piece.data(), piece.size());
    whole.append(piece.begin(), piece.end());
  }
  EXPECT_EQ(digestOf(whole), hexText(hash.digest()));
}

}  // namespace
}  // namespace facefeature_test

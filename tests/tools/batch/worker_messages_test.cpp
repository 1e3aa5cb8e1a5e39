// The messages between the program and its workers.
#include "batch/worker_messages.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

TEST(WorkerMessages, GiveBackWhatWasSent) {
  const WorkerRequest request =
      decodeRequest(encodeRequest({"a photo\n\xFF", std::string(100000, 'l')}));
  EXPECT_EQ("a photo\n\xFF", request.photo);
  EXPECT_EQ(std::string(100000, 'l'), request.landmarks);

  SeededRandom random;
  WorkerReply reply;
  reply.kind = WorkerReplyKind::kFailed;
  reply.code = 4;
  reply.text = "wrong";
  reply.warnings = {"one", "", "three"};
  const std::vector<uint8_t> noise = random.bytes(sizeof reply.feature);
  std::memcpy(&reply.feature, noise.data(), noise.size());
  const WorkerReply back = decodeReply(encodeReply(reply));
  EXPECT_EQ(reply.kind, back.kind);
  EXPECT_EQ(4, back.code);
  EXPECT_EQ("wrong", back.text);
  EXPECT_EQ(reply.warnings, back.warnings);
  EXPECT_EQ(0, std::memcmp(&reply.feature, &back.feature, sizeof reply.feature));
}

TEST(WorkerMessages, CutShortOrTooLongAreRefused) {
  WorkerReply reply;
  reply.warnings = {"w"};
  const std::string good = encodeReply(reply);
  for (size_t size = 0; size < good.size(); ++size) {
    EXPECT_THROW(decodeReply(good.substr(0, size)), std::runtime_error);
  }
  EXPECT_THROW(decodeReply(good + "x"), std::runtime_error);
  EXPECT_THROW(decodeReply("\x09" + good.substr(1)), std::runtime_error);
  EXPECT_THROW(decodeRequest(std::string("\x03\0\0\0ab", 6)), std::runtime_error);
}

}  // namespace
}  // namespace facefeature_test

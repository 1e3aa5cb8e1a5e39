// The messages between the program and its workers.
#include "batch/worker_messages.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

TEST(WorkerMessages, AreReceivedAsTheyWereSent) {
  const std::vector<WorkerRequest> requests =
      decodeRequests(encodeRequests({{"a photo\n\xFF", std::string(100000, 'l')}, {"", "b"}}));
  ASSERT_EQ(2u, requests.size());
  EXPECT_EQ("a photo\n\xFF", requests[0].photo);
  EXPECT_EQ(std::string(100000, 'l'), requests[0].landmarks);
  EXPECT_EQ("", requests[1].photo);
  EXPECT_EQ("b", requests[1].landmarks);
  EXPECT_TRUE(decodeRequests(encodeRequests({})).empty());

  SeededRandom random;
  WorkerReply reply;
  reply.kind = WorkerReplyKind::kFailed;
  reply.request = 15;
  reply.code = 4;
  reply.text = "wrong";
  reply.warnings = {"one", "", "three"};
  const std::vector<uint8_t> noise = random.bytes(sizeof reply.feature);
  std::memcpy(&reply.feature, noise.data(), noise.size());
  const WorkerReply back = decodeReply(encodeReply(reply));
  EXPECT_EQ(reply.kind, back.kind);
  EXPECT_EQ(15u, back.request);
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
  const std::string requests = encodeRequests({{"a", "b"}, {"c", ""}});
  for (size_t size = 0; size < requests.size(); ++size) {
    EXPECT_THROW(decodeRequests(requests.substr(0, size)), std::runtime_error);
  }
  EXPECT_THROW(decodeRequests(requests + "x"), std::runtime_error);
}

}  // namespace
}  // namespace facefeature_test

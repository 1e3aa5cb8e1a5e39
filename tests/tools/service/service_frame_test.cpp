// The frames of the service's protocol.
#include "service/service_frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

constexpr size_t kMaxHeader = 300;
constexpr size_t kMaxBody = 2000;

std::string text(const std::vector<uint8_t>& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

std::string prefix(uint32_t header, uint32_t body) {
  std::string bytes;
  for (const uint32_t number : {header, body}) {
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
  }
  return bytes;
}

TEST(ServiceFrame, IsTwoLengthsAHeaderAndABody) {
  EXPECT_EQ(prefix(2, 300) + "{}" + std::string(300, 'b'),
            encodeFrame({"{}", std::string(300, 'b')}));
  EXPECT_EQ(prefix(0, 0), encodeFrame({"", ""}));
}

TEST(ServiceFrame, ComesOutOfPiecesOfAnySizes) {
  SeededRandom random;
  const auto upTo = [&random](size_t low, size_t high) {
    return static_cast<size_t>(
        random.integer(static_cast<int32_t>(low), static_cast<int32_t>(high)));
  };
  FrameReader reader(kMaxHeader, kMaxBody);
  for (int round = 0; round < 500; ++round) {
    const ServiceFrame frame = {text(random.bytes(upTo(0, kMaxHeader))),
                                text(random.bytes(upTo(0, kMaxBody)))};
    const std::string bytes = encodeFrame(frame);
    EXPECT_TRUE(reader.isEmpty());
    for (size_t at = 0; at < bytes.size();) {
      ASSERT_GT(reader.missing(), 0u);
      ASSERT_FALSE(reader.isComplete());
      const size_t maximum = std::min(reader.missing(), bytes.size() - at);
      const size_t count = upTo(1, maximum);
      reader.append(bytes.data() + at, count);
      at += count;
      EXPECT_FALSE(reader.isEmpty());
    }
    ASSERT_TRUE(reader.isComplete());
    const ServiceFrame back = reader.release();
    EXPECT_EQ(frame.header, back.header);
    EXPECT_EQ(frame.body, back.body);
  }
}

TEST(ServiceFrame, IsRefusedFromItsLengthsAlone) {
  FrameReader(kMaxHeader, kMaxBody).append(prefix(kMaxHeader, kMaxBody).data(), 8);
  for (const std::string& bytes :
       {prefix(kMaxHeader + 1, 0), prefix(0, kMaxBody + 1), prefix(0xFFFFFFFF, 0xFFFFFFFF)}) {
    FrameReader reader(kMaxHeader, kMaxBody);
    reader.append(bytes.data(), 7);
    EXPECT_THROW(reader.append(bytes.data() + 7, 1), FrameTooLong);
  }
}

}  // namespace
}  // namespace facefeature_test

#include "service/service_frame.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "base/little_endian.h"

namespace facefeature_tools {
namespace {

std::string wordText(size_t number) {
  uint8_t bytes[4];
  putWord(static_cast<uint32_t>(number), bytes);
  return std::string(bytes, bytes + sizeof bytes);
}

size_t wordAt(const std::string& bytes, size_t offset) {
  return getWord(reinterpret_cast<const uint8_t*>(bytes.data()) + offset);
}

void requireLength(const char* part, size_t length, size_t maximum) {
  if (length <= maximum) return;
  throw FrameTooLong("the " + std::string(part) + " has " + std::to_string(length) +
                     " bytes, at most " + std::to_string(maximum) + " are accepted");
}

}  // namespace

std::string encodeFrame(const ServiceFrame& frame) {
  return wordText(frame.header.size()) + wordText(frame.body.size()) + frame.header + frame.body;
}

size_t FrameReader::headerLength() const { return wordAt(prefix_, 0); }
size_t FrameReader::bodyLength() const { return wordAt(prefix_, 4); }

size_t FrameReader::missing() const {
  if (prefix_.size() < kFramePrefixBytes) return kFramePrefixBytes - prefix_.size();
  return headerLength() + bodyLength() - frame_.header.size() - frame_.body.size();
}

void FrameReader::append(const char* bytes, size_t count) {
  if (prefix_.size() < kFramePrefixBytes) {
    prefix_.append(bytes, count);
    if (prefix_.size() < kFramePrefixBytes) return;
    requireLength("header", headerLength(), maxHeader_);
    requireLength("body", bodyLength(), maxBody_);
    return;
  }
  const size_t ofHeader = std::min(count, headerLength() - frame_.header.size());
  frame_.header.append(bytes, ofHeader);
  if (ofHeader == count) return;
  // The whole body at once: the system provides the memory only as it is written.
  if (frame_.body.empty()) frame_.body.reserve(bodyLength());
  frame_.body.append(bytes + ofHeader, count - ofHeader);
}

ServiceFrame FrameReader::release() {
  ServiceFrame frame = std::move(frame_);
  frame_ = ServiceFrame();
  prefix_.clear();
  return frame;
}

}  // namespace facefeature_tools

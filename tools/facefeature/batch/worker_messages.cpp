#include "batch/worker_messages.h"

#include <cstring>
#include <stdexcept>

#include "base/little_endian.h"

namespace facefeature_tools {
namespace {

void putNumber(uint32_t number, std::string& message) {
  uint8_t bytes[4];
  putWord(number, bytes);
  message.append(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

void putText(const std::string& text, std::string& message) {
  putNumber(static_cast<uint32_t>(text.size()), message);
  message += text;
}

// Decodes a message from its beginning.
class Reader {
 public:
  explicit Reader(const std::string& message) : message_(message) {}

  const char* take(size_t count) {
    if (count > message_.size() - at_) throw std::runtime_error("a worker sent a damaged message");
    at_ += count;
    return message_.data() + (at_ - count);
  }
  uint32_t number() { return getWord(reinterpret_cast<const uint8_t*>(take(4))); }
  std::string text() {
    const uint32_t length = number();
    return std::string(take(length), length);
  }
  void end() const {
    if (at_ != message_.size()) throw std::runtime_error("a worker sent a damaged message");
  }

 private:
  const std::string& message_;
  size_t at_ = 0;
};

}  // namespace

WorkerReply failedReply(int code, const std::string& text) {
  WorkerReply reply;
  reply.kind = WorkerReplyKind::kFailed;
  reply.code = code;
  reply.text = text;
  return reply;
}

std::string encodeRequests(const std::vector<WorkerRequest>& requests) {
  std::string message;
  putNumber(static_cast<uint32_t>(requests.size()), message);
  for (const WorkerRequest& request : requests) {
    putText(request.photo, message);
    putText(request.landmarks, message);
  }
  return message;
}

std::vector<WorkerRequest> decodeRequests(const std::string& message) {
  Reader reader(message);
  std::vector<WorkerRequest> requests;
  for (uint32_t left = reader.number(); left > 0; --left) {
    WorkerRequest request;
    request.photo = reader.text();
    request.landmarks = reader.text();
    requests.push_back(request);
  }
  reader.end();
  return requests;
}

std::string encodeReply(const WorkerReply& reply) {
  std::string message;
  putNumber(static_cast<uint32_t>(reply.kind), message);
  putNumber(reply.request, message);
  putNumber(static_cast<uint32_t>(reply.code), message);
  putText(reply.text, message);
  putNumber(static_cast<uint32_t>(reply.warnings.size()), message);
  for (const std::string& warning : reply.warnings) putText(warning, message);
  // Both processes run on one machine: the bytes of a float are the same in both.
  message.append(reinterpret_cast<const char*>(&reply.feature), sizeof reply.feature);
  return message;
}

WorkerReply decodeReply(const std::string& message) {
  Reader reader(message);
  WorkerReply reply;
  const uint32_t kind = reader.number();
  if (kind > static_cast<uint32_t>(WorkerReplyKind::kFailed)) {
    throw std::runtime_error("a worker sent a damaged message");
  }
  reply.kind = static_cast<WorkerReplyKind>(kind);
  reply.request = reader.number();
  reply.code = static_cast<int>(reader.number());
  reply.text = reader.text();
  for (uint32_t left = reader.number(); left > 0; --left) reply.warnings.push_back(reader.text());
  std::memcpy(&reply.feature, reader.take(sizeof reply.feature), sizeof reply.feature);
  reader.end();
  return reply;
}

}  // namespace facefeature_tools

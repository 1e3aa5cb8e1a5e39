// Any bytes of a client are requests or errors of the local service, and so are any bytes of a
// worker. Input: any bytes. They become frames whose headers resemble requests, in pieces of any
// size, and the messages of the worker.
//
// Each complete frame has one reply: a frame with a JSON object that has "ok" and, if that is
// false, one of the documented codes. After "too-long", the connection is over.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "base/failure.h"
#include "batch/worker_messages.h"
#include "fuzz_input.h"
#include "same_results.h"
#include "service/service.h"

namespace {

using facefeature_fuzz::fail;
using facefeature_fuzz::Input;
using facefeature_tools::FrameReader;
using facefeature_tools::Service;
using facefeature_tools::ServiceClock;
using facefeature_tools::ServiceConnection;

constexpr size_t kMaxReply = 1 << 20;

// One worker, which takes every message.
class FakeWorkers : public facefeature_tools::ServiceWorkers {
 public:
  size_t count() const override { return 1; }
  void send(size_t, const std::string&) override { isBusy = true; }
  void replace(size_t) override { wasReplaced = true; }

  bool isBusy = false;
  bool wasReplaced = false;
};

float difference(const FeatureVector* a, const FeatureVector* b) {
  return a->values[0] - b->values[kFeatureFloats - 1];
}

// A header that is often accepted, with some bytes exchanged.
std::string anyHeader(Input& input) {
  static const char* const kHeaders[] = {
      R"({"request": "extract", "id": "a\u00e9", "landmarks": [{"id": 1, "x": 1.5, "y": 2e3}]})",
      R"({"id": -1.5e300, "request": "compare"})", R"({"request": "info", "id": 7})",
      R"({"request": "health", "id": 18446744073709551615})"};
  std::string header = kHeaders[input.integer(0, 3)];
  for (int32_t changes = input.integer(0, 3); changes > 0 && !header.empty(); --changes) {
    const auto at = static_cast<size_t>(input.integer(0, static_cast<int32_t>(header.size()) - 1));
    if (input.flag()) {
      header[at] = static_cast<char>(input.byte());
    } else {
      header.erase(at, input.byte() % 4);
    }
  }
  return header;
}

std::string anyBody(Input& input) {
  const size_t features = static_cast<size_t>(input.integer(0, 3));
  return std::string(features * sizeof(FeatureVector) + input.byte() % 2,
                     static_cast<char>(input.byte()));
}

std::string anyWorkerMessage(Input& input) {
  facefeature_tools::WorkerReply reply;
  reply.kind = facefeature_tools::WorkerReplyKind::kFeature;
  reply.warnings = {std::string(1, static_cast<char>(input.byte()))};
  if (input.flag()) reply = facefeature_tools::failedReply(input.byte(), "\xFF");
  std::string message = facefeature_tools::encodeReply(reply);
  if (input.integer(0, 3) == 0) {
    message[static_cast<size_t>(input.integer(0, 20))] = static_cast<char>(input.byte());
    message.resize(static_cast<size_t>(input.integer(0, static_cast<int32_t>(message.size()))));
  }
  return message;
}

// The error of a reply, or an empty text.
std::string errorOf(const std::string& bytes) {
  static const std::set<std::string> kCodes = {"bad-request", "bad-input", "bad-model",
                                               "lost",        "too-long",  "failed"};
  FrameReader reader(kMaxReply, kMaxReply);
  size_t at = 0;
  for (size_t missing = 0; (missing = reader.missing()) > 0; at += missing) {
    if (missing > bytes.size() - at) fail("a reply that is cut short", at);
    reader.append(bytes.data() + at, missing);
  }
  if (at != bytes.size()) fail("bytes after a reply", at);
  const auto header = nlohmann::json::parse(reader.release().header);
  if (header.at("ok").get<bool>()) return "";
  const std::string error = header.at("error").get<std::string>();
  if (kCodes.count(error) == 0 || !header.at("message").is_string()) fail("an error", 0);
  return error;
}

class Client {
 public:
  explicit Client(Input& input) : input_(input) {}

  // Returns false once the connection is over.
  bool ask() {
    std::string bytes = facefeature_tools::encodeFrame({anyHeader(input_), anyBody(input_)});
    if (input_.integer(0, 31) == 0) bytes[input_.byte() % 8] = static_cast<char>(input_.byte());
    deliver(bytes);
    if (workers_.isBusy) {
      workers_.isBusy = false;
      service_.workerEvent({0, false, anyWorkerMessage(input_)}, now_);
    }
    // Lengths that were changed can leave a frame incomplete. Its time is then over.
    size_t count = 0;
    const char* unsent = service_.unsent(connection_, count);
    if (count == 0) return false;
    const std::string error = errorOf(std::string(unsent, count));
    service_.sent(connection_, count, now_);
    service_.unsent(connection_, count);
    if (count != 0) fail("a second reply", count);
    if (service_.isOver(connection_) != (error == "too-long")) fail("whether it is over", 0);
    return error != "too-long" && !workers_.wasReplaced;
  }

 private:
  void deliver(const std::string& bytes) {
    for (size_t at = 0; at < bytes.size();) {
      const size_t wanted = std::min(service_.wanted(connection_, now_), bytes.size() - at);
      if (wanted == 0) return;
      const size_t count = std::min<size_t>(wanted, 1 + input_.byte() * input_.byte());
      service_.received(connection_, bytes.data() + at, count, now_);
      at += count;
    }
  }

  Input& input_;
  FakeWorkers workers_;
  ServiceClock::time_point now_ = ServiceClock::time_point() + std::chrono::hours(1);
  Service service_{facefeature_tools::ServiceLimits(), facefeature_tools::ServiceInfo(), workers_,
                   difference};
  ServiceConnection connection_ = service_.connected(now_);
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> messages;
  facefeature_tools::collectMessages(&messages);
  Input input(data, size);
  Client client(input);
  for (int requests = 0; requests < 20 && client.ask(); ++requests) {
  }
  facefeature_tools::collectMessages(nullptr);
  return 0;
}

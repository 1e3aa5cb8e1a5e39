// The service without sockets and processes: deadlines, lost workers, and the promise that every
// complete request gets one reply.
#include "service/service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/failure.h"
#include "batch/worker_messages.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature_tools;
using std::chrono::milliseconds;

class FakeWorkers : public ServiceWorkers {
 public:
  explicit FakeWorkers(size_t count) : sent(count), replaced(count) {}
  size_t count() const override { return sent.size(); }
  void send(size_t worker, const std::string& message) override { sent[worker] = message; }
  void replace(size_t worker) override {
    sent[worker].clear();
    ++replaced[worker];
  }

  std::vector<std::string> sent;  // the last message to each
  std::vector<int> replaced;      // how many times
};

float noScore(const FeatureVector*, const FeatureVector*) { return 0; }

ServiceLimits limits() {
  ServiceLimits limits;
  limits.extraction = milliseconds(1000);
  limits.waiting = milliseconds(3000);
  limits.transfer = milliseconds(500);
  return limits;
}

std::string extraction(int id) {
  return encodeFrame({R"({"request": "extract", "id": )" + std::to_string(id) + "}", "photo"});
}

std::string featureMessage() {
  WorkerReply reply;
  reply.kind = WorkerReplyKind::kFeature;
  return encodeReply(reply);
}

struct Reply {
  int id = -1;        // -1: none
  std::string error;  // empty: a feature
};

class ServiceTest : public ::testing::Test {
 protected:
  // As a transport does: delivers as much as the service wants. Returns how much that was.
  size_t deliver(ServiceConnection connection, const std::string& bytes,
                 size_t maximum = SIZE_MAX) {
    size_t at = 0;
    while (at < std::min(bytes.size(), maximum)) {
      const size_t wanted = service.wanted(connection, now);
      if (wanted == 0) break;
      const size_t count = std::min(wanted, std::min(bytes.size(), maximum) - at);
      service.received(connection, bytes.data() + at, count, now);
      at += count;
    }
    return at;
  }

  ServiceConnection request(int id) {
    const ServiceConnection connection = service.connected(now);
    const std::string bytes = extraction(id);
    EXPECT_EQ(bytes.size(), deliver(connection, bytes));
    return connection;
  }

  // Takes the reply of a connection, if it has one.
  bool take(ServiceConnection connection, Reply& reply) {
    size_t count = 0;
    const char* unsent = service.unsent(connection, count);
    if (count == 0) return false;
    const std::string bytes(unsent, count);
    FrameReader reader(1 << 20, 1 << 20);
    size_t at = 0;
    for (size_t piece = 0; (piece = reader.missing()) > 0; at += piece) {
      reader.append(bytes.data() + at, piece);
    }
    EXPECT_EQ(bytes.size(), at);
    service.sent(connection, count, now);
    const auto header = nlohmann::json::parse(reader.release().header);
    reply.id = header.value("id", -1);
    reply.error = header.value("error", "");
    return true;
  }

  std::string errorOf(ServiceConnection connection) {
    Reply reply;
    return take(connection, reply) ? reply.error : "no reply";
  }

  void worker(size_t index, const std::string& message, bool ended = false) {
    service.workerEvent({index, ended, message}, now);
  }

  void pass(milliseconds time) {
    now += time;
    service.tick(now);
  }

  // Keeps the messages out of the output of the tests.
  void SetUp() override { collectMessages(&messages); }
  void TearDown() override { collectMessages(nullptr); }

  ServiceClock::time_point now = ServiceClock::time_point() + std::chrono::hours(1);
  std::vector<std::string> messages;
  FakeWorkers workers{2};
  Service service{limits(), ServiceInfo(), workers, noScore};
};

TEST_F(ServiceTest, WorkersThatDoNotStartAreStartedAgainAfterAPause) {
  const ServiceConnection connection = request(1);
  worker(0, "was killed", true);
  EXPECT_EQ("lost", errorOf(connection));
  EXPECT_EQ(1, workers.replaced[0]);
  // The new one reports that it has no model, and exits.
  worker(0, encodeReply(failedReply(kBadModel, "no model")));
  worker(0, "exited with code 0", true);
  EXPECT_EQ(1, workers.replaced[0]);
  pass(milliseconds(500));
  EXPECT_EQ(1, workers.replaced[0]);
  pass(milliseconds(600));
  EXPECT_EQ(2, workers.replaced[0]);
  // Ready at last.
  worker(0, encodeReply(WorkerReply()));
  request(2);
  EXPECT_FALSE(workers.sent[0].empty());
  EXPECT_EQ(0, workers.replaced[1]);
}

TEST_F(ServiceTest, ARequestThatWaitsTooLongIsRefused) {
  const ServiceConnection first = request(1), second = request(2), third = request(3);
  pass(milliseconds(999));
  EXPECT_EQ("no reply", errorOf(first));
  pass(milliseconds(1));
  EXPECT_EQ("timeout", errorOf(first));
  EXPECT_EQ("timeout", errorOf(second));
  // The workers are replaced, but the new ones are never ready.
  EXPECT_EQ((std::vector<int>{1, 1}), workers.replaced);
  pass(milliseconds(1999));
  EXPECT_EQ("no reply", errorOf(third));
  pass(milliseconds(1));
  EXPECT_EQ("busy", errorOf(third));
  EXPECT_FALSE(service.isOver(third));
}

TEST_F(ServiceTest, ARequestThatArrivesTooSlowlyClosesItsConnection) {
  const ServiceConnection connection = service.connected(now);
  pass(milliseconds(5000));
  EXPECT_EQ("no reply", errorOf(connection));
  for (int piece = 0; piece < 5; ++piece) {
    EXPECT_EQ("no reply", errorOf(connection));
    deliver(connection, extraction(1).substr(piece, 1));
    pass(milliseconds(100));
  }
  EXPECT_EQ("timeout", errorOf(connection));
  EXPECT_TRUE(service.isOver(connection));
}

TEST_F(ServiceTest, AReplyThatNobodyReadsClosesItsConnection) {
  const ServiceConnection connection = request(1);
  worker(0, featureMessage());
  pass(milliseconds(499));
  EXPECT_FALSE(service.isOver(connection));
  pass(milliseconds(1));
  EXPECT_TRUE(service.isOver(connection));
}

TEST_F(ServiceTest, TheRequestsOfAFastClientAreReadLater) {
  ServiceLimits twoASecond = limits();
  twoASecond.extractionsPerSecond = 2;
  Service slow(twoASecond, ServiceInfo(), workers, noScore);
  const ServiceConnection connection = slow.connected(now);
  const std::string bytes = extraction(1);
  for (size_t at = 0; at < bytes.size();) {
    const size_t wanted = slow.wanted(connection, now);
    slow.received(connection, bytes.data() + at, wanted, now);
    at += wanted;
  }
  slow.workerEvent({0, false, featureMessage()}, now);
  size_t count = 0;
  slow.unsent(connection, count);
  slow.sent(connection, count, now);
  EXPECT_EQ(0u, slow.wanted(connection, now + milliseconds(499)));
  EXPECT_EQ(kFramePrefixBytes, slow.wanted(connection, now + milliseconds(500)));
}

TEST_F(ServiceTest, AWorkerThatSendsGarbageIsReplaced) {
  const ServiceConnection connection = request(1);
  worker(0, "garbage");
  EXPECT_EQ("lost", errorOf(connection));
  EXPECT_EQ(1, workers.replaced[0]);
}

// A client that sends requests without waiting for replies.
struct Client {
  ServiceConnection connection = 0;
  std::string unsent;         // bytes of requests
  std::vector<int> expected;  // ids without a reply, in the order of the requests
};

// Time stands still, so there are no deadlines: only workers and clients fail.
class Chaos : public ServiceTest {
 protected:
  int below(int maximum) { return random.integer(0, maximum - 1); }

  void newRequest(Client& client) {
    client.unsent += extraction(++lastId);
    client.expected.push_back(lastId);
  }

  void sendSome(Client& client, size_t maximum) {
    client.unsent.erase(0, deliver(client.connection, client.unsent, maximum));
  }

  void takeReply(Client& client) {
    Reply reply;
    if (!take(client.connection, reply)) return;
    ASSERT_FALSE(client.expected.empty());
    EXPECT_EQ(client.expected.front(), reply.id);
    EXPECT_TRUE(reply.error.empty() || reply.error == "lost") << reply.error;
    client.expected.erase(client.expected.begin());
    ++(reply.error.empty() ? features : lost);
  }

  void replace(Client& client) {
    service.disconnected(client.connection);
    client = Client();
    client.connection = service.connected(now);
  }

  // The worker answers, or a new one is ready.
  void answer(size_t index) {
    if (!workers.sent[index].empty()) {
      workers.sent[index].clear();
      worker(index, featureMessage());
    } else if (started[index] != workers.replaced[index]) {
      started[index] = workers.replaced[index];
      worker(index, encodeReply(WorkerReply()));
    }
  }

  void kill(size_t index) {
    if (started[index] != workers.replaced[index]) return;
    if (!workers.sent[index].empty()) ++killed;
    worker(index, "was killed", true);
  }

  SeededRandom random;
  std::vector<int> started = {0, 0};  // of replaced: those that are ready
  int lastId = 0, features = 0, lost = 0, killed = 0;
};

TEST_F(Chaos, EveryRequestHasOneReplyInOrder) {
  std::vector<Client> clients(5);
  for (Client& client : clients) client.connection = service.connected(now);
  for (int step = 0; step < 20000; ++step) {
    Client& client = clients[static_cast<size_t>(below(5))];
    const auto index = static_cast<size_t>(below(2));
    const int event = below(100);
    if (event < 15) newRequest(client);
    if (event >= 15 && event < 40) sendSome(client, static_cast<size_t>(below(120)));
    if (event >= 40 && event < 65) takeReply(client);
    if (event >= 65 && event < 95) answer(index);
    if (event >= 95 && event < 98) kill(index);
    if (event == 98) replace(client);
    if (event == 99) service.tick(now);
  }
  // Everything that is open is answered.
  for (int step = 0; step < 100000; ++step) {
    Client& client = clients[static_cast<size_t>(step % 5)];
    sendSome(client, SIZE_MAX);
    takeReply(client);
    answer(static_cast<size_t>(step % 2));
  }
  for (const Client& client : clients) EXPECT_TRUE(client.expected.empty());
  EXPECT_GT(features, 1000);
  EXPECT_GT(lost, 10);
  EXPECT_LE(lost, killed);
  service.stop();
  for (Client& client : clients) {
    EXPECT_TRUE(service.isOver(client.connection));
    service.disconnected(client.connection);
  }
  EXPECT_TRUE(service.isStopped());
}

}  // namespace
}  // namespace facefeature_test

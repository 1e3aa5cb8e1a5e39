// The local service without its transport: the bytes of its connections, the queue of requests that
// wait for a worker, and deadlines.
//
// One thread drives it from outside. Time is an argument, so that tests need not wait.
#ifndef FACEFEATURE_TOOLS_SERVICE_SERVICE_H
#define FACEFEATURE_TOOLS_SERVICE_SERVICE_H

#include <facefeature/facefeature.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "batch/worker_process.h"
#include "service/service_frame.h"
#include "service/service_messages.h"

namespace facefeature_tools {

using ServiceClock = std::chrono::steady_clock;

struct ServiceLimits {
  size_t headerBytes = size_t{64} << 10;
  size_t photoBytes = size_t{16} << 20;
  size_t connections = 64;
  // Of one connection. A connection that asks for more is read more slowly. 0: no limit.
  double extractionsPerSecond = 0;
  std::chrono::milliseconds extraction{10000};  // by a worker, which is then replaced
  std::chrono::milliseconds waiting{30000};     // of a request for a worker
  std::chrono::milliseconds transfer{10000};    // of a request or a reply, from its first byte
  std::chrono::milliseconds idle{600000};       // of a connection between requests
};

// The worker processes.
class ServiceWorkers {
 public:
  virtual ~ServiceWorkers() = default;
  virtual size_t count() const = 0;
  // Returns at once.
  virtual void send(size_t worker, const std::string& message) = 0;
  // Terminates the worker and starts another. Throws Failure if that is not possible.
  virtual void replace(size_t worker) = 0;
};

using ServiceConnection = uint64_t;

class Service {
 public:
  using Compare = float (*)(const FeatureVector* a, const FeatureVector* b);

  // workers outlives the service. All of its workers are ready.
  Service(const ServiceLimits& limits, const ServiceInfo& info, ServiceWorkers& workers,
          Compare compare);

  // A connection beyond the limit gets an error, and isOver() when that is sent.
  ServiceConnection connected(ServiceClock::time_point now);
  // The connection is closed. Its request is dropped; a worker that has it continues.
  void disconnected(ServiceConnection connection);

  // How many bytes the connection may deliver now. 0: do not read from it.
  size_t wanted(ServiceConnection connection, ServiceClock::time_point now) const;
  // REQUIRES: count <= wanted(). 0 bytes are the end of the client's requests.
  void received(ServiceConnection connection, const char* bytes, size_t count,
                ServiceClock::time_point now);

  // The bytes to send, and how many of them were sent.
  const char* unsent(ServiceConnection connection, size_t& count) const;
  void sent(ServiceConnection connection, size_t count, ServiceClock::time_point now);
  // The service has finished with the connection: close it and call disconnected().
  bool isOver(ServiceConnection connection) const;

  void workerEvent(const WorkerEvent& event, ServiceClock::time_point now);
  // Enforces the deadlines. To be called several times a second.
  void tick(ServiceClock::time_point now);

  // Closes connections without a complete request. The others are answered and closed.
  void stop();
  bool isStopped() const { return stopping_ && connections_.empty(); }

 private:
  enum class Phase { kReceiving, kWaiting, kRunning, kReplying };

  struct Connection {
    explicit Connection(const ServiceLimits& limits)
        : reader(limits.headerBytes, limits.photoBytes) {}

    FrameReader reader;
    Phase phase = Phase::kReceiving;
    ServiceClock::time_point since;          // of the phase, or of the frame's first byte
    ServiceClock::time_point nextRequest{};  // not read before this
    ServiceFrame request;                    // while it waits for a worker
    std::string id;                          // of the request
    std::string reply;
    size_t sent = 0;
    bool closing = false;  // after the reply
  };

  enum class WorkerPhase { kStarting, kIdle, kRunning, kDown };

  struct Worker {
    WorkerPhase phase = WorkerPhase::kIdle;
    ServiceClock::time_point since;
    ServiceConnection connection = 0;  // kRunning: whose request; 0 if it was dropped
  };

  Connection& at(ServiceConnection connection) { return connections_.at(connection); }
  void handle(ServiceConnection number, ServiceClock::time_point now);
  ServiceFrame compareReply(const std::string& id, const std::string& body) const;
  ServiceHealth health() const;
  void enqueue(ServiceConnection number, ServiceFrame frame, ServiceClock::time_point now);
  void startWaiting(ServiceClock::time_point now);
  void reply(ServiceConnection number, const ServiceFrame& frame, ServiceClock::time_point now);
  void fail(ServiceConnection number, const char* code, const std::string& text,
            ServiceClock::time_point now);
  void replyFrom(size_t worker, const std::string& message, ServiceClock::time_point now);
  void replaceWorker(size_t worker, ServiceClock::time_point now);
  void checkWorker(size_t worker, ServiceClock::time_point now);
  void checkConnection(ServiceConnection number, ServiceClock::time_point now);
  void forgetWaiting(ServiceConnection number);

  ServiceLimits limits_;
  ServiceInfo info_;
  ServiceWorkers& workers_;
  Compare compare_;
  std::map<ServiceConnection, Connection> connections_;
  std::deque<ServiceConnection> waiting_;
  std::vector<Worker> slots_;  // one for each worker
  ServiceConnection last_ = 0;
  uint64_t answered_ = 0;
  uint64_t lostWorkers_ = 0;
  bool stopping_ = false;
};

}  // namespace facefeature_tools

#endif

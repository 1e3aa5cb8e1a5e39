#include "service/service.h"

#include <algorithm>
#include <utility>

#include "base/failure.h"
#include "batch/worker_messages.h"

namespace facefeature_tools {
namespace {

// How long a worker may open its model, and how soon after a failed start the next is tried.
constexpr std::chrono::seconds kStart(60);
constexpr std::chrono::seconds kPause(1);

const char* codeOf(int exitCode) {
  if (exitCode == kBadInput) return "bad-input";
  return exitCode == kBadModel ? "bad-model" : "failed";
}

std::string secondsText(std::chrono::milliseconds time) {
  return std::to_string(static_cast<double>(time.count()) / 1000).substr(0, 5) + " seconds";
}

}  // namespace

Service::Service(const ServiceLimits& limits, const ServiceInfo& info, ServiceWorkers& workers,
                 Compare compare)
    : limits_(limits), info_(info), workers_(workers), compare_(compare), slots_(workers.count()) {}

ServiceConnection Service::connected(ServiceClock::time_point now) {
  const bool isTooMany = connections_.size() >= limits_.connections;
  const ServiceConnection number = ++last_;
  Connection& connection = connections_.emplace(number, Connection(limits_)).first->second;
  connection.since = now;
  if (isTooMany) {
    connection.closing = true;
    fail(number, "busy", "all connections are in use. Try again later.", now);
  }
  return number;
}

void Service::disconnected(ServiceConnection number) {
  forgetWaiting(number);
  for (Worker& worker : slots_) {
    if (worker.connection == number) worker.connection = 0;
  }
  connections_.erase(number);
}

void Service::forgetWaiting(ServiceConnection number) {
  waiting_.erase(std::remove(waiting_.begin(), waiting_.end(), number), waiting_.end());
}

size_t Service::wanted(ServiceConnection number, ServiceClock::time_point now) const {
  const Connection& connection = connections_.at(number);
  if (connection.phase != Phase::kReceiving || connection.closing) return 0;
  if (connection.reader.isEmpty() && now < connection.nextRequest) return 0;
  return connection.reader.missing();
}

void Service::received(ServiceConnection number, const char* bytes, size_t count,
                       ServiceClock::time_point now) {
  Connection& connection = at(number);
  if (count == 0) {
    connection.closing = true;
    return;
  }
  if (connection.reader.isEmpty()) connection.since = now;
  try {
    connection.reader.append(bytes, count);
  } catch (const FrameTooLong& error) {
    // The frames after this one can't be found.
    connection.closing = true;
    fail(number, "too-long", error.what(), now);
    return;
  }
  if (connection.reader.isComplete()) handle(number, now);
}

void Service::handle(ServiceConnection number, ServiceClock::time_point now) {
  ServiceRequest request;
  request.id = "null";
  ServiceFrame frame = at(number).reader.release();
  try {
    parseServiceRequest(frame.header, request);
    at(number).id = request.id;
    switch (request.kind) {
      case ServiceRequestKind::kExtract:
        return enqueue(number, std::move(frame), now);
      case ServiceRequestKind::kCompare:
        return reply(number, compareReply(request.id, frame.body), now);
      case ServiceRequestKind::kInfo:
        return reply(number, infoReply(request.id, info_), now);
      case ServiceRequestKind::kHealth:
        return reply(number, healthReply(request.id, health()), now);
    }
  } catch (const ServiceError& error) {
    at(number).id = request.id;
    fail(number, error.code(), error.what(), now);
  }
}

ServiceFrame Service::compareReply(const std::string& id, const std::string& body) const {
  const std::vector<FeatureVector> features = featuresOf(body);
  std::vector<float> scores;
  for (size_t i = 1; i < features.size(); ++i) {
    scores.push_back(compare_(&features[0], &features[i]));
  }
  return scoresReply(id, scores);
}

ServiceHealth Service::health() const {
  ServiceHealth health;
  for (const Worker& worker : slots_) {
    const bool runs = worker.phase == WorkerPhase::kRunning;
    if (runs || worker.phase == WorkerPhase::kIdle) ++health.ready;
    if (runs) ++health.running;
  }
  health.waiting = waiting_.size();
  health.connections = connections_.size();
  health.answered = answered_;
  health.lostWorkers = lostWorkers_;
  return health;
}

void Service::enqueue(ServiceConnection number, ServiceFrame frame, ServiceClock::time_point now) {
  Connection& connection = at(number);
  if (limits_.extractionsPerSecond > 0) {
    const std::chrono::duration<double> gap(1 / limits_.extractionsPerSecond);
    connection.nextRequest =
        connection.since + std::chrono::duration_cast<ServiceClock::duration>(gap);
  }
  connection.request = std::move(frame);
  connection.phase = Phase::kWaiting;
  connection.since = now;
  waiting_.push_back(number);
  startWaiting(now);
}

void Service::startWaiting(ServiceClock::time_point now) {
  for (size_t i = 0; i < slots_.size() && !waiting_.empty(); ++i) {
    if (slots_[i].phase != WorkerPhase::kIdle) continue;
    const ServiceConnection number = waiting_.front();
    waiting_.pop_front();
    Connection& connection = at(number);
    const ServiceFrame frame = std::exchange(connection.request, ServiceFrame());
    connection.phase = Phase::kRunning;
    connection.since = now;
    slots_[i] = {WorkerPhase::kRunning, now, number};
    workers_.send(i, encodeRequests({WorkerRequest{frame.body, frame.header}}));
  }
}

void Service::reply(ServiceConnection number, const ServiceFrame& frame,
                    ServiceClock::time_point now) {
  Connection& connection = at(number);
  connection.phase = Phase::kReplying;
  connection.since = now;
  connection.reply = encodeFrame(frame);
  connection.sent = 0;
  ++answered_;
}

void Service::fail(ServiceConnection number, const char* code, const std::string& text,
                   ServiceClock::time_point now) {
  const std::string& id = at(number).id;
  reply(number, errorReply(id.empty() ? "null" : id, code, text), now);
}

const char* Service::unsent(ServiceConnection number, size_t& count) const {
  const Connection& connection = connections_.at(number);
  count = connection.reply.size() - connection.sent;
  return connection.reply.data() + connection.sent;
}

void Service::sent(ServiceConnection number, size_t count, ServiceClock::time_point now) {
  Connection& connection = at(number);
  connection.sent += count;
  if (connection.sent < connection.reply.size()) return;
  connection.reply = std::string();
  connection.sent = 0;
  connection.id.clear();
  connection.phase = Phase::kReceiving;
  connection.since = now;
  if (stopping_) connection.closing = true;
}

bool Service::isOver(ServiceConnection number) const {
  const Connection& connection = connections_.at(number);
  return connection.closing && connection.phase == Phase::kReceiving;
}

void Service::workerEvent(const WorkerEvent& event, ServiceClock::time_point now) {
  Worker& worker = slots_[event.worker];
  if (!event.ended) {
    replyFrom(event.worker, event.message, now);
    startWaiting(now);
    return;
  }
  ++lostWorkers_;
  if (worker.phase == WorkerPhase::kStarting || worker.phase == WorkerPhase::kDown) {
    // tick() starts the next one after a pause: a model that was removed must not make the service
    // start processes in a loop.
    say("serve", "a worker " + event.message + " while it opened the model.");
    worker = {WorkerPhase::kDown, now, 0};
    return;
  }
  say("serve", "a worker " + event.message + ".");
  if (worker.connection != 0) {
    fail(worker.connection, "lost", "the worker " + event.message + " over this photograph.", now);
  }
  replaceWorker(event.worker, now);
}

void Service::replyFrom(size_t index, const std::string& message, ServiceClock::time_point now) {
  Worker& worker = slots_[index];
  WorkerReply answer;
  try {
    answer = decodeReply(message);
  } catch (const std::runtime_error& error) {
    // The photograph may have corrupted the worker.
    if (worker.connection != 0) fail(worker.connection, "lost", error.what(), now);
    replaceWorker(index, now);
    return;
  }
  const ServiceConnection number = worker.connection;
  if (worker.phase == WorkerPhase::kStarting && answer.kind == WorkerReplyKind::kFailed) {
    say("serve", answer.text);
    worker = {WorkerPhase::kDown, now, 0};
    return;
  }
  worker = {WorkerPhase::kIdle, now, 0};
  if (number == 0) return;
  const std::string id = at(number).id;
  if (answer.kind == WorkerReplyKind::kFeature) {
    reply(number, featureReply(id, answer.feature, answer.warnings), now);
  } else {
    fail(number, codeOf(answer.code), answer.text, now);
  }
}

void Service::replaceWorker(size_t index, ServiceClock::time_point now) {
  try {
    workers_.replace(index);
    slots_[index] = {WorkerPhase::kStarting, now, 0};
  } catch (const Failure& failure) {
    say("serve", failure.what());
    slots_[index] = {WorkerPhase::kDown, now, 0};
  }
}

void Service::tick(ServiceClock::time_point now) {
  for (size_t i = 0; i < slots_.size(); ++i) checkWorker(i, now);
  std::vector<ServiceConnection> numbers;
  for (const auto& [number, connection] : connections_) numbers.push_back(number);
  for (const ServiceConnection number : numbers) checkConnection(number, now);
}

void Service::checkWorker(size_t index, ServiceClock::time_point now) {
  const Worker& worker = slots_[index];
  const auto time = now - worker.since;
  if (worker.phase == WorkerPhase::kDown && time >= kPause) replaceWorker(index, now);
  if (worker.phase == WorkerPhase::kStarting && time >= kStart) replaceWorker(index, now);
  if (worker.phase != WorkerPhase::kRunning || time < limits_.extraction) return;
  if (worker.connection != 0) {
    fail(worker.connection, "timeout",
         "the extraction took longer than " + secondsText(limits_.extraction), now);
  }
  ++lostWorkers_;
  say("serve", "a worker took longer than " + secondsText(limits_.extraction) + ".");
  replaceWorker(index, now);
}

void Service::checkConnection(ServiceConnection number, ServiceClock::time_point now) {
  Connection& connection = at(number);
  const auto time = now - connection.since;
  switch (connection.phase) {
    case Phase::kReceiving:
      if (connection.reader.isEmpty()) {
        if (time >= limits_.idle) connection.closing = true;
      } else if (time >= limits_.transfer && !connection.closing) {
        connection.closing = true;
        fail(number, "timeout",
             "the request was not complete within " + secondsText(limits_.transfer), now);
      }
      break;
    case Phase::kWaiting:
      if (time < limits_.waiting) break;
      forgetWaiting(number);
      connection.request = ServiceFrame();
      fail(number, "busy", "no worker was free for " + secondsText(limits_.waiting), now);
      break;
    case Phase::kRunning:
      break;
    case Phase::kReplying:
      if (time < limits_.transfer) break;
      // Nobody reads it.
      connection.reply.clear();
      connection.sent = 0;
      connection.phase = Phase::kReceiving;
      connection.closing = true;
      break;
  }
}

void Service::stop() {
  stopping_ = true;
  for (auto& [number, connection] : connections_) {
    if (connection.phase == Phase::kReceiving) connection.closing = true;
  }
}

}  // namespace facefeature_tools

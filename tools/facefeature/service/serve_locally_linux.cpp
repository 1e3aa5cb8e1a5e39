#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <memory>
#include <vector>

#include "base/failure.h"
#include "batch/ending_signals.h"
#include "batch/worker_messages.h"
#include "batch/worker_process_linux.h"
#include "service/local_socket.h"
#include "service/serve_locally.h"

namespace facefeature_tools {
namespace {

// How long the loop sleeps at most: deadlines are met with this precision.
constexpr int kTickMilliseconds = 100;
constexpr size_t kMaxBytesAtOnce = 1 << 16;

class ProcessWorkers : public ServiceWorkers {
 public:
  ProcessWorkers(const WorkerCommand& command, size_t count) : command_(command), all_(count) {
    for (auto& worker : all_) worker = std::make_unique<WorkerProcess>(command_);
  }

  size_t count() const override { return all_.size(); }
  void send(size_t worker, const std::string& message) override {
    if (all_[worker]) all_[worker]->send(message);
  }
  void replace(size_t worker) override {
    all_[worker].reset();
    all_[worker] = std::make_unique<WorkerProcess>(command_);
  }

  const std::vector<std::unique_ptr<WorkerProcess>>& all() const { return all_; }

 private:
  WorkerCommand command_;
  std::vector<std::unique_ptr<WorkerProcess>> all_;
};

// Returns false if a signal asks for the end.
bool waitUntilReady(const ProcessWorkers& workers) {
  for (size_t ready = 0; ready < workers.count();) {
    if (EndingSignals::caught() != 0) return false;
    const auto event = waitForWorkers(workers.all(), std::chrono::milliseconds(kTickMilliseconds));
    if (!event) continue;
    if (event->ended) {
      throw Failure(kFailed, "a worker process", event->message + " while it opened the model",
                    "Check the model with \"facefeature model check\", and the memory");
    }
    const WorkerReply reply = decodeReply(event->message);
    if (reply.kind != WorkerReplyKind::kReady) {
      throw Failure(static_cast<ExitCode>(reply.code), std::runtime_error(reply.text));
    }
    ++ready;
  }
  return true;
}

class Loop {
 public:
  Loop(LocalListener& listener, ProcessWorkers& workers, Service& service)
      : listener_(listener), workers_(workers), service_(service) {}
  ~Loop() {
    for (const auto& [number, socket] : sockets_) close(socket);
  }
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  void run() {
    while (!service_.isStopped()) {
      if (EndingSignals::caught() != 0 && listener_.descriptor() >= 0) stop();
      wait();
      while (const auto event = waitForWorkers(workers_.all(), std::chrono::milliseconds(0))) {
        service_.workerEvent(*event, ServiceClock::now());
      }
      for (size_t i = 0; i < polled_.size(); ++i) serve(polled_[i], entries_[1 + i]);
      service_.tick(ServiceClock::now());
      for (const ServiceConnection number : polled_) closeIfOver(number);
      // After connections were closed, so that new ones can take their descriptors.
      if ((entries_[0].revents & POLLIN) != 0) accept();
    }
  }

 private:
  void stop() {
    listener_.close();
    service_.stop();
    for (const auto& [number, socket] : std::map<ServiceConnection, int>(sockets_)) {
      closeIfOver(number);
    }
  }

  void wait() {
    const ServiceClock::time_point now = ServiceClock::now();
    entries_.clear();
    polled_.clear();
    entries_.push_back({listener_.descriptor(), POLLIN, 0});
    for (const auto& [number, socket] : sockets_) {
      size_t unsent = 0;
      service_.unsent(number, unsent);
      const int events =
          (unsent > 0 ? POLLOUT : 0) | (service_.wanted(number, now) > 0 ? POLLIN : 0);
      entries_.push_back({socket, static_cast<short>(events), 0});
      polled_.push_back(number);
    }
    for (const auto& worker : workers_.all()) {
      if (worker) entries_.push_back(pollEntry(*worker));
    }
    if (poll(entries_.data(), entries_.size(), kTickMilliseconds) >= 0) return;
    for (pollfd& entry : entries_) entry.revents = 0;
  }

  void accept() {
    for (int socket = listener_.accept(); socket >= 0; socket = listener_.accept()) {
      sockets_[service_.connected(ServiceClock::now())] = socket;
    }
    // Without room for another descriptor, the connection stays in the queue and poll() reports it
    // at once, again and again.
    if (errno == EMFILE || errno == ENFILE || errno == ENOMEM) usleep(1000);
  }

  void serve(ServiceConnection number, const pollfd& entry) {
    if ((entry.revents & POLLIN) != 0) receive(number, entry.fd);
    if (sockets_.count(number) == 0) return;
    size_t unsent = 0;
    service_.unsent(number, unsent);
    if (unsent > 0) {
      send(number, entry.fd);
    } else if ((entry.revents & (POLLHUP | POLLERR)) != 0 && (entry.revents & POLLIN) == 0) {
      closeConnection(number);
    }
  }

  void receive(ServiceConnection number, int socket) {
    // Many pieces at once, but not so many that others wait.
    constexpr int kPieces = 16;
    for (int piece = 0; piece < kPieces; ++piece) {
      const size_t wanted = service_.wanted(number, ServiceClock::now());
      if (wanted == 0) return;
      bool wouldBlock = false;
      const auto count =
          receiveBytes(socket, buffer_.data(), std::min(wanted, buffer_.size()), wouldBlock);
      if (wouldBlock) return;
      if (!count) return closeConnection(number);
      service_.received(number, buffer_.data(), *count, ServiceClock::now());
      if (*count == 0) return closeIfOver(number);
    }
  }

  void send(ServiceConnection number, int socket) {
    size_t unsent = 0;
    const char* bytes = service_.unsent(number, unsent);
    bool wouldBlock = false;
    const auto count = sendBytes(socket, bytes, unsent, wouldBlock);
    if (wouldBlock) return;
    if (!count) return closeConnection(number);
    service_.sent(number, *count, ServiceClock::now());
    closeIfOver(number);
  }

  void closeIfOver(ServiceConnection number) {
    if (sockets_.count(number) != 0 && service_.isOver(number)) closeConnection(number);
  }

  void closeConnection(ServiceConnection number) {
    close(sockets_.at(number));
    sockets_.erase(number);
    service_.disconnected(number);
  }

  LocalListener& listener_;
  ProcessWorkers& workers_;
  Service& service_;
  std::map<ServiceConnection, int> sockets_;
  std::vector<pollfd> entries_;            // the listener, connections, workers
  std::vector<ServiceConnection> polled_;  // those of entries_
  std::array<char, kMaxBytesAtOnce> buffer_;
};

}  // namespace

void serveLocally(const ServeSettings& settings, Service::Compare compare) {
  const EndingSignals signals;
  LocalListener listener(settings.socket);
  ProcessWorkers workers(settings.command, settings.workers);
  if (!waitUntilReady(workers)) return;
  listener.open();
  say("serve", settings.socket + ": ready, " + std::to_string(settings.workers) +
                   (settings.workers == 1 ? " worker." : " workers."));
  Service service(settings.limits, settings.info, workers, compare);
  Loop(listener, workers, service).run();
}

}  // namespace facefeature_tools

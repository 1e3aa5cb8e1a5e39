#include "batch/worker_process_linux.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "base/failure.h"
#include "base/little_endian.h"

namespace facefeature_tools {
namespace {

constexpr int kChannel = STDIN_FILENO;
constexpr size_t kLengthBytes = 4;

// A socket instead of a pair of pipes: writing to a socket whose reader has exited need not raise a
// signal.
bool sendAll(int socket, const char* bytes, size_t count) {
  while (count > 0) {
    const ssize_t sent = ::send(socket, bytes, count, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    bytes += sent;
    count -= static_cast<size_t>(sent);
  }
  return true;
}

std::string lengthOf(const std::string& message) {
  std::array<uint8_t, kLengthBytes> length;
  putWord(static_cast<uint32_t>(message.size()), length.data());
  return std::string(length.begin(), length.end());
}

bool sendMessage(int socket, const std::string& message) {
  const std::string length = lengthOf(message);
  return sendAll(socket, length.data(), length.size()) &&
         sendAll(socket, message.data(), message.size());
}

// Sends as much as the worker accepts now. A worker that does not read must not stop this process.
void sendUnsent(WorkerProcess::State& state) {
  while (state.unsentStart < state.unsent.size()) {
    const ssize_t sent =
        ::send(state.socket, state.unsent.data() + state.unsentStart,
               state.unsent.size() - state.unsentStart, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
    // The worker has exited, which is reported when its socket is read.
    if (sent < 0) break;
    state.unsentStart += static_cast<size_t>(sent);
  }
  // Frees the memory: a message can be as large as a photograph.
  state.unsent = std::string();
  state.unsentStart = 0;
}

// Removes the first message from the received bytes, if it is complete.
std::optional<std::string> firstMessage(std::string& arrived) {
  if (arrived.size() < kLengthBytes) return std::nullopt;
  const size_t length = getWord(reinterpret_cast<const uint8_t*>(arrived.data()));
  if (arrived.size() - kLengthBytes < length) return std::nullopt;
  const std::string message = arrived.substr(kLengthBytes, length);
  arrived.erase(0, kLengthBytes + length);
  return message;
}

// Appends the available bytes to those received. Returns false at the end of the stream.
bool receiveSome(int socket, std::string& arrived) {
  std::array<char, 1 << 16> bytes;
  for (;;) {
    const ssize_t got = recv(socket, bytes.data(), bytes.size(), 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    arrived.append(bytes.data(), static_cast<size_t>(got));
    return true;
  }
}

std::string endingText(int status) {
  if (WIFSIGNALED(status)) {
    const int number = WTERMSIG(status);
    return "was killed by signal " + std::to_string(number) + " (" + strsignal(number) + ")";
  }
  return "exited with code " + std::to_string(WEXITSTATUS(status));
}

// Runs in the new process, up to exec.
[[noreturn]] void becomeWorker(int socket, pid_t parent, const WorkerCommand& command,
                               char* const* arguments) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) signal(number, SIG_IGN);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The parent may have exited before that call.
  if (getppid() != parent) _exit(kFailed);
  setenv("OMP_NUM_THREADS", std::to_string(command.threads).c_str(), 1);
  if (dup2(socket, kChannel) >= 0 && dup2(STDERR_FILENO, STDOUT_FILENO) >= 0) {
    execv("/proc/self/exe", arguments);
  }
  _exit(kFailed);
}

}  // namespace

WorkerProcess::WorkerProcess(const WorkerCommand& command) : state_(std::make_unique<State>()) {
  std::vector<std::string> texts = {"facefeature"};
  texts.insert(texts.end(), command.arguments.begin(), command.arguments.end());
  std::vector<char*> arguments;
  for (std::string& text : texts) arguments.push_back(text.data());
  arguments.push_back(nullptr);

  const pid_t parent = getpid();
  int sockets[2] = {-1, -1};
  // Closed in every other worker, so that each detects its own end of stream.
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) == 0) {
    state_->process = fork();
    if (state_->process == 0) becomeWorker(sockets[1], parent, command, arguments.data());
  }
  const int error = errno;
  if (sockets[1] >= 0) close(sockets[1]);
  state_->socket = sockets[0];
  if (state_->process > 0) return;
  if (sockets[0] >= 0) close(sockets[0]);
  throw Failure(kFailed, "a worker process", "can't be started: " + systemMessage(error),
                "Use fewer --jobs, or free memory");
}

WorkerProcess::~WorkerProcess() {
  close(state_->socket);
  if (state_->process < 0) return;
  kill(state_->process, SIGKILL);
  while (waitpid(state_->process, nullptr, 0) < 0 && errno == EINTR) {
  }
}

void WorkerProcess::send(const std::string& message) {
  state_->unsent += lengthOf(message);
  state_->unsent += message;
  sendUnsent(*state_);
}

pollfd pollEntry(WorkerProcess& worker) {
  const WorkerProcess::State& state = worker.state();
  const short writing = state.unsent.empty() ? 0 : POLLOUT;
  return {state.process > 0 ? state.socket : -1, static_cast<short>(POLLIN | writing), 0};
}

namespace {

// Waits for a worker that has closed its end of the socket, and returns how it ended. A worker that
// does not exit soon is terminated, because it can't be reached any more.
std::string endOf(WorkerProcess::State& state) {
  constexpr int kTries = 200;
  constexpr useconds_t kPause = 1000;
  int status = 0;
  for (int tries = 0;; ++tries) {
    const pid_t ended = waitpid(state.process, &status, tries < kTries ? WNOHANG : 0);
    if (ended > 0 || (ended < 0 && errno != EINTR)) break;
    if (tries == kTries - 1) kill(state.process, SIGKILL);
    if (tries < kTries) usleep(kPause);
  }
  state.process = -1;
  return endingText(status);
}

// Replies are small. A worker that announces more has lost control over its memory.
bool announcesTooMuch(const std::string& arrived) {
  constexpr uint32_t kMaxReplyBytes = 1 << 20;
  return arrived.size() >= kLengthBytes &&
         getWord(reinterpret_cast<const uint8_t*>(arrived.data())) > kMaxReplyBytes;
}

std::string terminate(WorkerProcess::State& state) {
  kill(state.process, SIGKILL);
  return endOf(state);
}

}  // namespace

std::optional<WorkerEvent> waitForWorkers(
    const std::vector<std::unique_ptr<WorkerProcess>>& workers, std::chrono::milliseconds time) {
  std::vector<pollfd> sockets;
  for (size_t i = 0; i < workers.size(); ++i) {
    // poll() ignores negative descriptors.
    sockets.push_back(workers[i] ? pollEntry(*workers[i]) : pollfd{-1, 0, 0});
    if (sockets[i].fd < 0) continue;
    if (auto message = firstMessage(workers[i]->state().arrived)) {
      return WorkerEvent{i, false, *message};
    }
  }
  if (poll(sockets.data(), sockets.size(), static_cast<int>(time.count())) <= 0) {
    return std::nullopt;
  }
  for (size_t i = 0; i < workers.size(); ++i) {
    if (sockets[i].revents == 0) continue;
    WorkerProcess::State& state = workers[i]->state();
    if ((sockets[i].revents & POLLOUT) != 0) sendUnsent(state);
    if ((sockets[i].revents & ~POLLOUT) == 0) continue;
    if (!receiveSome(state.socket, state.arrived)) return WorkerEvent{i, true, endOf(state)};
    if (announcesTooMuch(state.arrived)) return WorkerEvent{i, true, terminate(state)};
    if (auto message = firstMessage(state.arrived)) return WorkerEvent{i, false, *message};
  }
  return std::nullopt;
}

std::optional<std::string> WorkerChannel::receive() {
  std::string arrived;
  // Each message is answered before the next is sent, so no bytes of another one arrive.
  for (;;) {
    if (auto message = firstMessage(arrived)) return message;
    if (!receiveSome(kChannel, arrived)) return std::nullopt;
  }
}

bool WorkerChannel::send(const std::string& message) { return sendMessage(kChannel, message); }

}  // namespace facefeature_tools

#include "service/local_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/failure.h"

namespace facefeature_tools {
namespace {

constexpr int kBacklog = 64;
constexpr mode_t kOnlyOwner = 0177;  // what the mode of the socket lacks

Failure failure(const std::string& path, const std::string& wrong) {
  return Failure(kFailed, path, wrong, "Name another socket in a folder that only you can change");
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw failure(path, "is longer than " + std::to_string(sizeof address.sun_path - 1) +
                            " bytes, which is the most for a socket");
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

int newSocket(const std::string& path) {
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) throw failure(path, "can't be opened: " + systemMessage(errno));
  return descriptor;
}

bool isServed(const std::string& path) {
  const sockaddr_un address = addressOf(path);
  const int descriptor = newSocket(path);
  const int result =
      connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  // A full backlog also means that there is a service.
  const bool served = result == 0 || errno == EAGAIN;
  close(descriptor);
  return served;
}

void removeStale(const std::string& path) {
  struct stat facts = {};
  if (lstat(path.c_str(), &facts) != 0) return;
  if (!S_ISSOCK(facts.st_mode)) throw failure(path, "exists and is not a socket");
  if (isServed(path)) throw failure(path, "is served by another program");
  unlink(path.c_str());
}

}  // namespace

LocalListener::LocalListener(const std::string& path) : path_(path), lock_(path) {
  addressOf(path);
  removeStale(path);
}

LocalListener::~LocalListener() { close(); }

void LocalListener::open() {
  const sockaddr_un address = addressOf(path_);
  socket_ = newSocket(path_);
  const mode_t before = umask(kOnlyOwner);
  const int bound = bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = errno;
  umask(before);
  if (bound == 0 && listen(socket_, kBacklog) == 0) return;
  const std::string why = systemMessage(bound == 0 ? errno : error);
  ::close(socket_);
  socket_ = -1;
  throw failure(path_, "can't be created: " + why);
}

void LocalListener::close() {
  if (socket_ < 0) return;
  unlink(path_.c_str());
  ::close(socket_);
  socket_ = -1;
}

int LocalListener::accept() {
  return accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
}

namespace {

std::optional<size_t> moved(ssize_t count, bool& wouldBlock) {
  wouldBlock = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
  if (wouldBlock) return 0;
  if (count < 0) return std::nullopt;
  return static_cast<size_t>(count);
}

}  // namespace

std::optional<size_t> receiveBytes(int socket, char* bytes, size_t count, bool& wouldBlock) {
  return moved(recv(socket, bytes, count, 0), wouldBlock);
}

std::optional<size_t> sendBytes(int socket, const char* bytes, size_t count, bool& wouldBlock) {
  return moved(send(socket, bytes, count, MSG_NOSIGNAL), wouldBlock);
}

}  // namespace facefeature_tools

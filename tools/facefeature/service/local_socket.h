// A socket in the file system, through which programs of one user on one machine reach a service.
#ifndef FACEFEATURE_TOOLS_SERVICE_LOCAL_SOCKET_H
#define FACEFEATURE_TOOLS_SERVICE_LOCAL_SOCKET_H

#include <cstddef>
#include <optional>
#include <string>

#include "base/file_lock.h"

namespace facefeature_tools {

// A listening socket at a path, with the mode 0600. PATH.lock keeps a second service from the path.
class LocalListener {
 public:
  // Takes the path, and removes a socket that a killed service has left behind. Throws Failure if
  // another process serves at the path, if it is a file that is not a socket, or is too long.
  explicit LocalListener(const std::string& path);
  // Removes the socket.
  ~LocalListener();
  LocalListener(const LocalListener&) = delete;
  LocalListener& operator=(const LocalListener&) = delete;

  // Makes the socket appear. REQUIRES: the process has no other threads. Throws Failure.
  void open();
  // Refuses further connections and removes the socket.
  void close();

  // -1 while it is not open.
  int descriptor() const { return socket_; }
  // The next connection, which does not block, or -1 if there is none or no room for one.
  int accept();

 private:
  std::string path_;
  FileLock lock_;
  int socket_ = -1;
};

// Each returns how many bytes were moved, or nothing if the connection is broken. 0 received bytes
// are the end of the stream. If the connection is not ready, wouldBlock is set and nothing is
// moved.
std::optional<size_t> receiveBytes(int socket, char* bytes, size_t count, bool& wouldBlock);
std::optional<size_t> sendBytes(int socket, const char* bytes, size_t count, bool& wouldBlock);

}  // namespace facefeature_tools

#endif

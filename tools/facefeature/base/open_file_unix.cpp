#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "base/open_file.h"

namespace facefeature_tools {

bool syncToDisk(std::FILE* file) {
  if (std::fflush(file) != 0) return false;
  // Pipes and some file systems can't be synchronised.
  return fsync(fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP;
}

bool lockFile(std::FILE* file) {
  // A file system without locks is no reason to refuse the work.
  return flock(fileno(file), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

bool isTerminal(std::FILE* file) { return isatty(fileno(file)) == 1; }

}  // namespace facefeature_tools

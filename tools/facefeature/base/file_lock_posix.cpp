#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/failure.h"
#include "base/file_lock.h"

namespace facefeature_tools {
namespace {

// The number that the holder has written, if it has got that far.
std::string holderOf(int file) {
  char text[32] = {};
  const ssize_t count = pread(file, text, sizeof text - 1, 0);
  std::string number;
  for (ssize_t i = 0; i < count && text[i] >= '0' && text[i] <= '9'; ++i) number += text[i];
  return number.empty() ? "another process" : "process " + number;
}

// Whether the path still names the open file: the holder before us may have removed it between
// our opening and our locking.
bool isStillThere(int file, const std::string& path) {
  struct stat opened = {}, named = {};
  return fstat(file, &opened) == 0 && stat(path.c_str(), &named) == 0 &&
         opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

}  // namespace

FileLock::FileLock(const std::string& path) : lockPath_(path + ".lock") {
  for (;;) {
    file_ = open(lockPath_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (file_ < 0) {
      throw Failure(kFailed, lockPath_, "can't be created: " + systemMessage(errno),
                    "Name a file in a writable folder");
    }
    if (flock(file_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
      const std::string holder = holderOf(file_);
      close(file_);
      throw Failure(kFailed, path, "is being changed by " + holder, "Wait until it has finished");
    }
    if (isStillThere(file_, lockPath_)) break;
    close(file_);
  }
  const std::string number = std::to_string(getpid()) + "\n";
  // The number is for messages only.
  if (ftruncate(file_, 0) == 0) (void)!pwrite(file_, number.data(), number.size(), 0);
}

FileLock::~FileLock() {
  unlink(lockPath_.c_str());
  close(file_);
}

}  // namespace facefeature_tools

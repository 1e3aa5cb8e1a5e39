#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/failure.h"
#include "base/update_file.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Name a writable file, on a disk with free space";

Failure failed(const std::string& path, const char* wrong) {
  return Failure(kFailed, path, wrong + systemMessage(errno), kRemedy);
}

}  // namespace

UpdateFile::UpdateFile(const std::string& path)
    : path_(path), file_(open(path.c_str(), O_RDWR | O_CLOEXEC)) {
  if (file_ < 0) throw failed(path_, "can't be opened for writing: ");
}

UpdateFile::~UpdateFile() { close(file_); }

void UpdateFile::write(uint64_t offset, const void* bytes, size_t count) {
  const char* next = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t written = pwrite(file_, next, count, static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) throw failed(path_, "can't be written: ");
    next += written;
    offset += static_cast<uint64_t>(written);
    count -= static_cast<size_t>(written);
  }
}

void UpdateFile::cutAt(uint64_t size) {
  struct stat status = {};
  if (fstat(file_, &status) != 0) throw failed(path_, "can't be examined: ");
  if (static_cast<uint64_t>(status.st_size) <= size) return;
  if (ftruncate(file_, static_cast<off_t>(size)) != 0) throw failed(path_, "can't be truncated: ");
}

void UpdateFile::sync() {
  // Some file systems can't synchronise.
  if (fsync(file_) != 0 && errno != EINVAL && errno != ENOTSUP) {
    throw failed(path_, "can't be written: ");
  }
}

}  // namespace facefeature_tools

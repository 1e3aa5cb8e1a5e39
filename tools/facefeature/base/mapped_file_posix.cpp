#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/failure.h"
#include "base/mapped_file.h"

namespace facefeature_tools {

MappedFile::MappedFile(const std::string& path, const std::string& remedy) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    throw Failure(kBadInput, path, "can't be opened: " + systemMessage(errno), remedy);
  }
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(descriptor);
    throw Failure(kBadInput, path, "is not a regular file", remedy);
  }
  size_ = static_cast<size_t>(status.st_size);
  void* memory = size_ == 0 ? nullptr : mmap(nullptr, size_, PROT_READ, MAP_SHARED, descriptor, 0);
  const int error = errno;
  // The mapping outlives the descriptor.
  close(descriptor);
  if (memory == MAP_FAILED) {
    throw Failure(kBadInput, path, "can't be mapped: " + systemMessage(error), remedy);
  }
  bytes_ = static_cast<const uint8_t*>(memory);
}

MappedFile::~MappedFile() {
  if (bytes_ != nullptr) munmap(const_cast<uint8_t*>(bytes_), size_);
}

}  // namespace facefeature_tools

#include "base/whole_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "base/failure.h"

namespace facefeature_tools {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

using File = std::unique_ptr<std::FILE, FileCloser>;

constexpr size_t kBlock = size_t{1} << 20;

}  // namespace

std::vector<uint8_t> readWholeFile(const std::string& path, size_t limit,
                                   const std::string& remedy) {
  const File file(std::fopen(path.c_str(), "rb"));
  if (!file) throw Failure(kBadInput, path, "can't be opened: " + systemMessage(errno), remedy);

  std::vector<uint8_t> bytes;
  for (;;) {
    const size_t filled = bytes.size();
    // Reads one byte more than the limit, to distinguish a file of exactly that size from a longer
    // one.
    const size_t wanted = std::min(kBlock, limit + 1 - filled);
    bytes.resize(filled + wanted);
    errno = 0;
    const size_t got = std::fread(bytes.data() + filled, 1, wanted, file.get());
    bytes.resize(filled + got);
    if (bytes.size() > limit) {
      throw Failure(kBadInput, path, "has more than " + std::to_string(limit) + " bytes", remedy);
    }
    if (got == wanted) continue;
    if (std::ferror(file.get()) != 0) {
      throw Failure(kBadInput, path, "can't be read: " + systemMessage(errno), remedy);
    }
    return bytes;
  }
}

void writeWholeFile(const std::string& path, const uint8_t* bytes, size_t count) {
  const std::string remedy = "Name a file in a writable folder, on a disk with free space";
  File file(std::fopen(path.c_str(), "wb"));
  if (!file) throw Failure(kFailed, path, "can't be created: " + systemMessage(errno), remedy);
  errno = 0;
  const bool written = std::fwrite(bytes, 1, count, file.get()) == count;
  const int writeError = errno;
  // Buffered bytes reach the disk only now, and a full disk is detected only here.
  const bool closed = std::fclose(file.release()) == 0;
  if (!written || !closed) {
    const int error = written ? errno : writeError;
    throw Failure(kFailed, path, "can't be written: " + systemMessage(error), remedy);
  }
}

}  // namespace facefeature_tools

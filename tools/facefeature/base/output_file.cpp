#include "base/output_file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "base/failure.h"
#include "base/open_file.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Name a file in a writable folder, on a disk with free space";

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path), partPath_(path + ".part") {
  file_.reset(std::fopen(partPath_.c_str(), "wb"));
  if (!file_) {
    throw Failure(kFailed, partPath_, "can't be created: " + systemMessage(errno), kRemedy);
  }
}

OutputFile::~OutputFile() {
  if (!file_) return;
  file_.reset();
  std::error_code ignored;
  std::filesystem::remove(partPath_, ignored);
}

void OutputFile::write(const void* bytes, size_t count) {
  if (std::fwrite(bytes, 1, count, file_.get()) == count) return;
  throw Failure(kFailed, partPath_, "can't be written: " + systemMessage(errno), kRemedy);
}

void OutputFile::publish() {
  if (!syncToDisk(file_.get())) {
    throw Failure(kFailed, partPath_, "can't be written: " + systemMessage(errno), kRemedy);
  }
  file_.reset();
  std::error_code error;
  std::filesystem::rename(partPath_, path_, error);
  if (!error) return;
  std::error_code ignored;
  std::filesystem::remove(partPath_, ignored);
  throw Failure(kFailed, path_, "can't be replaced: " + error.message(), kRemedy);
}

}  // namespace facefeature_tools

#include <windows.h>

#include <algorithm>
#include <system_error>

#include "base/failure.h"
#include "base/update_file.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Name a writable file, on a disk with free space";

Failure failed(const std::string& path, const char* wrong) {
  const int code = static_cast<int>(GetLastError());
  return Failure(kFailed, path, wrong + std::error_code(code, std::system_category()).message(),
                 kRemedy);
}

}  // namespace

UpdateFile::UpdateFile(const std::string& path)
    : path_(path),
      file_(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {
  if (file_ == INVALID_HANDLE_VALUE) throw failed(path_, "can't be opened for writing: ");
}

UpdateFile::~UpdateFile() { CloseHandle(file_); }

void UpdateFile::write(uint64_t offset, const void* bytes, size_t count) {
  const char* next = static_cast<const char*>(bytes);
  while (count > 0) {
    OVERLAPPED position = {};
    position.Offset = static_cast<DWORD>(offset);
    position.OffsetHigh = static_cast<DWORD>(offset >> 32);
    const DWORD wanted = static_cast<DWORD>(std::min<size_t>(count, 1u << 30));
    DWORD written = 0;
    if (WriteFile(file_, next, wanted, &written, &position) == 0 || written == 0) {
      throw failed(path_, "can't be written: ");
    }
    next += written;
    offset += written;
    count -= written;
  }
}

void UpdateFile::cutAt(uint64_t size) {
  LARGE_INTEGER present = {};
  if (GetFileSizeEx(file_, &present) == 0) throw failed(path_, "can't be examined: ");
  if (static_cast<uint64_t>(present.QuadPart) <= size) return;
  LARGE_INTEGER end = {};
  end.QuadPart = static_cast<LONGLONG>(size);
  // A reader that has mapped the file prevents its truncation. Bytes after the end of the gallery
  // are overwritten or ignored.
  if (SetFilePointerEx(file_, end, nullptr, FILE_BEGIN) == 0 ||
      (SetEndOfFile(file_) == 0 && GetLastError() != ERROR_USER_MAPPED_FILE)) {
    throw failed(path_, "can't be truncated: ");
  }
}

void UpdateFile::sync() {
  if (FlushFileBuffers(file_) == 0) throw failed(path_, "can't be written: ");
}

}  // namespace facefeature_tools

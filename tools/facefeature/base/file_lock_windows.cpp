#include <windows.h>

#include <system_error>

#include "base/failure.h"
#include "base/file_lock.h"

namespace facefeature_tools {

// The system removes the file with its last handle, also when the process is killed.
FileLock::FileLock(const std::string& path) : lockPath_(path + ".lock") {
  file_ = CreateFileA(lockPath_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  if (file_ != INVALID_HANDLE_VALUE) return;
  const DWORD error = GetLastError();
  if (error == ERROR_SHARING_VIOLATION) {
    throw Failure(kFailed, path, "is being changed by another process",
                  "Wait until it has finished");
  }
  throw Failure(kFailed, lockPath_,
                "can't be created: " +
                    std::error_code(static_cast<int>(error), std::system_category()).message(),
                "Name a file in a writable folder");
}

FileLock::~FileLock() { CloseHandle(file_); }

}  // namespace facefeature_tools

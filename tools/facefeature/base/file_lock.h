// Lets only one process at a time change a file.
#ifndef FACEFEATURE_TOOLS_BASE_FILE_LOCK_H
#define FACEFEATURE_TOOLS_BASE_FILE_LOCK_H

#include <string>

namespace facefeature_tools {

// Holds PATH.lock, which contains the id of the process that holds it. Readers of the file ignore
// it. The system releases the lock when the process ends, for whatever reason; the lock file of a
// killed process does not block others.
//
// On file systems without locks there is none.
class FileLock {
 public:
  // Throws Failure (kFailed) that names the other process if one holds the lock, or if the lock
  // file can't be created.
  explicit FileLock(const std::string& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  std::string lockPath_;
#if defined(_WIN32)
  void* file_;
#else
  int file_;
#endif
};

}  // namespace facefeature_tools

#endif

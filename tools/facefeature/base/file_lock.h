// One process at a time changes a file.
#ifndef FACEFEATURE_TOOLS_BASE_FILE_LOCK_H
#define FACEFEATURE_TOOLS_BASE_FILE_LOCK_H

#include <string>

namespace facefeature_tools {

// Holds PATH.lock, which contains the number of the process that holds it. Readers of the file do
// not look at it. The system releases the lock when the process ends, however it ends; a lock file
// that is left behind by a killed process stops nobody.
//
// File systems without locks are used without one.
class FileLock {
 public:
  // Throws Failure (kFailed) that names the other process if another one holds the lock, or if the
  // lock file can't be created.
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

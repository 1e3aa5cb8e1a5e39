// An existing file that is changed in place.
#ifndef FACEFEATURE_TOOLS_BASE_UPDATE_FILE_H
#define FACEFEATURE_TOOLS_BASE_UPDATE_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace facefeature_tools {

// Each write is passed to the system at once; this process buffers nothing. All members throw
// Failure (kFailed).
class UpdateFile {
 public:
  explicit UpdateFile(const std::string& path);
  ~UpdateFile();
  UpdateFile(const UpdateFile&) = delete;
  UpdateFile& operator=(const UpdateFile&) = delete;

  // Extends the file if the bytes end after its end.
  void write(uint64_t offset, const void* bytes, size_t count);

  // Truncates the file to a size if it is longer.
  void cutAt(uint64_t size);

  // Returns when everything written so far is on the disk.
  void sync();

 private:
  std::string path_;
#if defined(_WIN32)
  void* file_;
#else
  int file_;
#endif
};

}  // namespace facefeature_tools

#endif

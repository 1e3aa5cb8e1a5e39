// A whole file mapped into memory; only the parts that are accessed are read.
#ifndef FACEFEATURE_TOOLS_BASE_MAPPED_FILE_H
#define FACEFEATURE_TOOLS_BASE_MAPPED_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace facefeature_tools {

// The bytes are valid as long as the object, even if the file is removed or replaced meanwhile. If
// the file is truncated meanwhile, access ends the process.
class MappedFile {
 public:
  // Throws Failure (kBadInput) with the given advice if the file can't be opened or mapped.
  MappedFile(const std::string& path, const std::string& remedy);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  const uint8_t* bytes() const { return bytes_; }  // null for an empty file
  size_t size() const { return size_; }

 private:
  const uint8_t* bytes_ = nullptr;
  size_t size_ = 0;
};

}  // namespace facefeature_tools

#endif

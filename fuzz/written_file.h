// A file with the bytes of an input, for readers that take a path.
#ifndef FACEFEATURE_FUZZ_WRITTEN_FILE_H
#define FACEFEATURE_FUZZ_WRITTEN_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace facefeature_fuzz {

// Replaces the file's content. Ends the program if the file can't be written.
inline void writeFile(const std::string& path, const void* bytes, size_t count) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  // data() may be null for an empty input.
  const bool written =
      file != nullptr && (count == 0 || std::fwrite(bytes, 1, count, file) == count);
  if (!written || std::fclose(file) != 0) {
    std::fprintf(stderr, "can't write %s\n", path.c_str());
    std::abort();
  }
}

}  // namespace facefeature_fuzz

#endif

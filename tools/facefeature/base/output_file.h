// A file that is written completely or not at all.
#ifndef FACEFEATURE_TOOLS_BASE_OUTPUT_FILE_H
#define FACEFEATURE_TOOLS_BASE_OUTPUT_FILE_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace facefeature_tools {

// Written as PATH.part and renamed when complete. An object that is destroyed without publish()
// removes its unfinished file; a process that is killed leaves it, and the next one overwrites it.
class OutputFile {
 public:
  // Throws Failure (kFailed) if it can't be created.
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Throws Failure (kFailed).
  void write(const void* bytes, size_t count);
  void write(const std::string& text) { write(text.data(), text.size()); }

  // Waits for the disk and renames the file, replacing an existing one. Throws Failure (kFailed).
  // The object must not be used afterwards.
  void publish();

 private:
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::string path_;
  std::string partPath_;
  std::unique_ptr<std::FILE, Closer> file_;
};

}  // namespace facefeature_tools

#endif

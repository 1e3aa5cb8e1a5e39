// A file that is there as a whole or not at all.
#ifndef FACEFEATURE_TOOLS_BASE_OUTPUT_FILE_H
#define FACEFEATURE_TOOLS_BASE_OUTPUT_FILE_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace facefeature_tools {

// Written beside, as PATH.part, and renamed when it is complete. An object that goes without
// publish() takes its unfinished file with it; a process that is killed leaves it, and the next
// one overwrites it.
class OutputFile {
 public:
  // Throws Failure (kFailed) when it can't be created.
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Throws Failure (kFailed).
  void write(const void* bytes, size_t count);
  void write(const std::string& text) { write(text.data(), text.size()); }

  // Waits for the disk and puts the file in its place, replacing what was there. Throws Failure
  // (kFailed). Ends the object's use.
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

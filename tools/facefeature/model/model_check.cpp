#include "model/model_check.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "base/little_endian.h"
#include "model/model_files.h"

namespace facefeature_tools {
namespace {

namespace fs = std::filesystem;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string count(uintmax_t number, const char* noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

// A header as text: "3 x 5" or "7 floats".
std::string headerText(const ModelFile& file, int32_t first, int32_t second) {
  if (file.headerWords() == 1) return std::to_string(first) + " floats";
  return std::to_string(first) + " x " + std::to_string(second) + " floats";
}

// Empty if the header is what the nets need.
std::string headerFault(const ModelFile& file, std::FILE* stream) {
  const size_t words = file.headerWords();
  std::array<uint8_t, 8> bytes = {};
  if (words == 0) return "";
  if (std::fread(bytes.data(), 4, words, stream) != words) {
    return "can't be read: " + systemMessage(errno);
  }
  const int32_t first = static_cast<int32_t>(getWord(&bytes[0]));
  const int32_t second = words == 2 ? static_cast<int32_t>(getWord(&bytes[4])) : 1;
  if (first == file.rows && second == file.cols) return "";
  return "has a header for " + headerText(file, first, second) + ", but the nets need " +
         headerText(file, file.rows, file.cols);
}

std::string sizeFault(const ModelFile& file, uintmax_t size) {
  const uintmax_t wanted = file.bytes();
  if (size == wanted) return "";
  const std::string by = size < wanted ? count(wanted - size, "byte") + " too few"
                                       : count(size - wanted, "byte") + " too many";
  return "has " + count(size, "byte") + ", " + by;
}

std::string numberFault(const ModelFile& file, std::FILE* stream) {
  constexpr size_t kFloatsAtOnce = size_t{1} << 16;
  std::vector<uint8_t> bytes(4 * std::min(kFloatsAtOnce, file.floats()));
  size_t wrong = 0;
  size_t firstWrong = 0;
  for (size_t at = 0; at < file.floats();) {
    const size_t wanted = std::min(kFloatsAtOnce, file.floats() - at);
    if (std::fread(bytes.data(), 4, wanted, stream) != wanted) {
      return "can't be read: " + systemMessage(errno);
    }
    for (size_t i = 0; i < wanted; ++i) {
      if (std::isfinite(getFloat(&bytes[4 * i]))) continue;
      if (wrong++ == 0) firstWrong = at + i;
    }
    at += wanted;
  }
  if (wrong == 0) return "";
  return "contains " + count(wrong, "number") + " that " + (wrong == 1 ? "is" : "are") +
         " infinite or not a number, the first at index " + std::to_string(firstWrong) +
         " of its floats";
}

std::string fileFault(const std::string& folder, const ModelFile& file, CheckDepth depth) {
  const fs::path path = fs::path(folder) / file.name;
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) return "is missing";
  if (error) return "can't be read: " + error.message();
  if (!fs::is_regular_file(status)) return "is not a regular file";
  const std::unique_ptr<std::FILE, FileCloser> stream(std::fopen(path.string().c_str(), "rb"));
  if (!stream) return "can't be opened: " + systemMessage(errno);
  const uintmax_t size = fs::file_size(path, error);
  if (error) return "can't be read: " + error.message();

  // A wrong header is more informative than the wrong size that follows from it.
  std::string fault;
  if (size >= 4 * file.headerWords()) fault = headerFault(file, stream.get());
  if (fault.empty()) fault = sizeFault(file, size);
  if (fault.empty() && depth == CheckDepth::kNumbers) fault = numberFault(file, stream.get());
  return fault;
}

}  // namespace

std::vector<ModelFault> checkModel(const std::string& folder, CheckDepth depth,
                                   ExitCode codeForFolder, const std::string& remedy) {
  std::error_code error;
  const fs::directory_iterator entries(folder, error);
  if (error) {
    throw Failure(codeForFolder, folder, "can't be read as a folder: " + error.message(), remedy);
  }
  std::vector<ModelFault> faults;
  for (const ModelFile& file : modelFiles()) {
    const std::string wrong = fileFault(folder, file, depth);
    if (!wrong.empty()) faults.push_back({file.name, wrong});
  }
  return faults;
}

}  // namespace facefeature_tools

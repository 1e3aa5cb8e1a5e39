// Writes model files for the code under test, in the test program's own temporary folder.
//
// The numbers of a model file are little-endian, like all machines that the tests run on, so they
// are written as they are in memory.
#ifndef FACEFEATURE_TESTS_SUPPORT_MODEL_FOLDER_H
#define FACEFEATURE_TESTS_SUPPORT_MODEL_FOLDER_H

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/environment.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {

// The folder in which the code looks for its model files, without a trailing separator.
inline std::string modelFolder() { return privateTempFolder() + kSeparator + "~kwplugintmp~"; }

// The line for a layer's file that can't be opened.
inline std::string failedLine(const std::string& file) {
  return "load " + modelFolder() + kSeparator + file + " failed\n";
}

// Creates the model folder, or empties an existing one.
inline void clearModelFolder() {
  std::filesystem::remove_all(modelFolder());
  std::filesystem::create_directories(modelFolder());
}

inline void removeModelFile(const std::string& name) {
  std::filesystem::remove(modelFolder() + "/" + name);
}

// Creates or overwrites one file with these bytes.
inline void writeRawFile(const std::string& name, const std::string& bytes) {
  std::filesystem::create_directories(modelFolder());
  std::ofstream file(modelFolder() + "/" + name, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("can't write the model file " + name);
}

inline void appendNumber(std::string& bytes, int32_t number) {
  char text[sizeof number];
  std::memcpy(text, &number, sizeof number);
  bytes.append(text, sizeof text);
}

inline void appendFloats(std::string& bytes, const std::vector<float>& values) {
  for (const float value : values) {
    char text[sizeof value];
    std::memcpy(text, &value, sizeof value);
    bytes.append(text, sizeof text);
  }
}

// Writes the header and then the values, regardless of their number: a test of a short or a long
// file passes another number of them than the header says.
inline void writeMatrixFile(const std::string& name, int32_t rows, int32_t cols,
                            const std::vector<float>& values) {
  std::string bytes;
  appendNumber(bytes, rows);
  appendNumber(bytes, cols);
  appendFloats(bytes, values);
  writeRawFile(name, bytes);
}

// A file of `count` followed by these values: the format of the mean samples.
inline void writeMeanFile(const std::string& name, int32_t count,
                          const std::vector<float>& values) {
  std::string bytes;
  appendNumber(bytes, count);
  appendFloats(bytes, values);
  writeRawFile(name, bytes);
}

}  // namespace facefeature_test

#endif

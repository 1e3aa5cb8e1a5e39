// Checks how the readers of model files handle files that are truncated, too long, missing, or have
// a wrong length in their header. Input: any bytes. The first one chooses the kind of file; the
// next ones give its header, its length and its numbers. Each kind passes through its real reader,
// in files of a few kilobytes.
//
// The result must be that of an independent reader of the same bytes, byte for byte. What a file
// lacks is 0, or keeps its value in a patch mean. A long patch mean continues into the next slots
// up to the last one. A shape that exceeds the memory throws std::bad_alloc.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "bounded_memory.h"
#include "config/net_documents.h"
#include "engine/model_files.h"
#include "engine/model_state.h"
#include "fuzz_input.h"
#include "layers/weight_files.h"
#include "same_results.h"
#include "support/model_folder.h"
#include "written_file.h"

namespace {

using facefeature::Matrix;
using facefeature_fuzz::fail;
using facefeature_fuzz::Input;
using facefeature_fuzz::MemoryScope;
using facefeature_fuzz::requireSameBytes;
using Bytes = std::vector<uint8_t>;

// More than the largest of the files here needs, so that only a header can ask for too much.
constexpr size_t kMaxBytes = size_t{1} << 18;

std::string pathOf(const std::string& name) { return facefeature_test::modelFolder() + "/" + name; }

void appendNumber(Bytes& bytes, int32_t number) {
  for (const int shift : {0, 8, 16, 24}) {
    bytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(number) >> shift));
  }
}

// The 32-bit number at this offset, or nothing if the file has fewer than four bytes there.
bool readNumber(const Bytes& bytes, size_t at, int32_t& number) {
  if (bytes.size() < at + 4) return false;
  uint32_t bits = 0;
  for (size_t i = 0; i < 4; ++i) bits |= uint32_t{bytes[at + i]} << 8 * i;
  std::memcpy(&number, &bits, sizeof number);
  return true;
}

int32_t anyHeader(Input& input, int32_t honest) {
  constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
  constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
  static const int32_t kOdd[] = {0,      1,       -1,    -2,   kHighest, kLowest, 32768,  65536,
                                 -65536, 1 << 30, 46341, 9075, 9076,     0xFF,    226875, 226876};
  const uint8_t way = input.byte();
  if (way % 4 == 0) return kOdd[input.integer(0, 15)];
  if (way % 16 == 1) return static_cast<int32_t>(input.anyBits());
  return honest;
}

void appendBody(Input& input, size_t count, Bytes& bytes) {
  for (size_t i = 0; i < count; ++i) bytes.push_back(input.byte());
}

// Occasionally truncated at any offset.
void cutSometimes(Input& input, Bytes& bytes) {
  if (input.byte() % 4 != 0) return;
  const size_t wanted = static_cast<size_t>(input.integer(0, 65535));
  bytes.resize(std::min(bytes.size(), bytes.size() * wanted / 65535));
}

// Writes the file, removes it, or replaces it by a folder.
bool putFile(Input& input, const std::string& name, const Bytes& bytes) {
  const uint8_t way = input.byte();
  std::filesystem::remove(pathOf(name));
  if (way == 1) std::filesystem::create_directory(pathOf(name));
  if (way < 16) return false;
  facefeature_fuzz::writeFile(pathOf(name), bytes.data(), bytes.size());
  return true;
}

uint8_t* meanBytes() { return reinterpret_cast<uint8_t*>(facefeature::patchMeans); }

void checkPatchMean(Input& input) {
  static Bytes wanted(sizeof facefeature::patchMeans, 0);
  const int32_t n = input.flag() ? input.integer(22, 25) : input.integer(1, 25);
  // A long mean extends beyond its own slot, and the last ones beyond all slots.
  const int32_t floats =
      input.byte() % 8 == 0 ? input.integer(9000, 3 * 9075) : input.integer(0, 64);
  Bytes bytes;
  appendNumber(bytes, anyHeader(input, floats));
  appendBody(input, 4 * static_cast<size_t>(floats), bytes);
  cutSometimes(input, bytes);
  const std::string name = "0-" + std::to_string(n) + "-0";
  const bool exists = putFile(input, name, bytes);

  int32_t count = 0;
  if (exists && readNumber(bytes, 0, count) && count > 0) {
    uint8_t* slot = wanted.data() + static_cast<size_t>(n - 1) * sizeof facefeature::patchMeans[0];
    const size_t room = static_cast<size_t>(wanted.data() + wanted.size() - slot);
    const size_t asked = 4 * static_cast<size_t>(count);
    for (size_t i = 0; i < std::min({room, asked, bytes.size() - 4}); ++i) slot[i] = bytes[4 + i];
  }
  std::ifstream stream;
  if (facefeature::readPatchMean(stream, n) != exists) fail("whether a patch mean was read", 0);
  requireSameBytes("a patch mean", wanted.data(), meanBytes(), wanted.size());
  std::filesystem::remove(pathOf(name));
}

void checkRawFloats(Input& input) {
  const int32_t count = input.integer(0, 600);
  Bytes bytes;
  appendBody(input, static_cast<size_t>(input.integer(0, 2500)), bytes);
  const bool exists = putFile(input, "6-1", bytes);
  const std::unique_ptr<float[]> got(new float[static_cast<size_t>(count)]);
  Bytes wanted(4 * static_cast<size_t>(count), 0xA5);
  if (!wanted.empty()) std::memcpy(got.get(), wanted.data(), wanted.size());
  if (exists) {
    for (size_t i = 0; i < wanted.size(); ++i) wanted[i] = i < bytes.size() ? bytes[i] : 0;
  }
  std::ifstream stream;
  if (facefeature::readRawFloats(stream, "6-1", got.get(), count) != exists) {
    fail("whether raw floats were read", 0);
  }
  requireSameBytes("raw floats", wanted.data(), reinterpret_cast<const uint8_t*>(got.get()),
                   wanted.size());
  std::filesystem::remove(pathOf("6-1"));
}

struct LayerFile {
  std::string name;
  bool exists;
  Bytes bytes;
};

LayerFile anyLayerFile(Input& input, const std::string& name) {
  const int32_t rows = input.integer(0, 40), cols = input.integer(0, 20);
  LayerFile file = {name, false, {}};
  appendNumber(file.bytes, anyHeader(input, rows));
  appendNumber(file.bytes, anyHeader(input, cols));
  const int32_t surplus = input.byte() % 4 == 0 ? input.integer(0, 40) : 0;
  appendBody(input, static_cast<size_t>(4 * rows * cols + surplus), file.bytes);
  cutSometimes(input, file.bytes);
  file.exists = putFile(input, name, file.bytes);
  return file;
}

// Rows, columns and floats, according to an independent reader.
struct PlainMatrix {
  bool fits;  // in memory; there is no matrix otherwise
  int32_t rows, cols;
  Bytes floats;  // row-major
};

PlainMatrix plainlyRead(const LayerFile& file) {
  PlainMatrix matrix = {true, 0, 0, {}};
  const Bytes& bytes = file.bytes;
  const bool hasShape =
      readNumber(bytes, 0, matrix.rows) && readNumber(bytes, 4, matrix.cols) && file.exists;
  if (!hasShape) return {true, 0, 0, {}};
  const int64_t count = int64_t{matrix.rows} * matrix.cols;
  const bool isShape = count >= 0 && (matrix.rows >= 0 || matrix.cols >= 0);
  matrix.fits = isShape && count <= static_cast<int64_t>(kMaxBytes / 4);
  if (!matrix.fits) return matrix;
  matrix.floats.assign(bytes.begin() + 8, bytes.end());
  matrix.floats.resize(4 * static_cast<size_t>(count), 0);
  return matrix;
}

PlainMatrix turned(const PlainMatrix& matrix) {
  PlainMatrix result = {matrix.fits, matrix.cols, matrix.rows, matrix.floats};
  if (matrix.floats.empty()) return result;
  const size_t rows = static_cast<size_t>(matrix.rows), cols = static_cast<size_t>(matrix.cols);
  for (size_t i = 0; i < rows * cols; ++i) {
    std::memcpy(&result.floats[4 * (i % cols * rows + i / cols)], &matrix.floats[4 * i], 4);
  }
  return result;
}

void requireMatrix(const PlainMatrix& wanted, const Matrix& got) {
  if (got.rows != wanted.rows || got.cols != wanted.cols) fail("the shape of a matrix", 0);
  if (static_cast<size_t>(got.size) * 4 != wanted.floats.size()) fail("the size of a matrix", 0);
  requireSameBytes("a matrix", wanted.floats.data(), reinterpret_cast<const uint8_t*>(got.buffer),
                   wanted.floats.size());
}

void checkWeights(const std::vector<LayerFile>& files, bool transposes) {
  std::vector<PlainMatrix> wanted;
  bool fits = true;
  for (const LayerFile& file : files) {
    if (!file.exists) continue;
    wanted.push_back(transposes ? turned(plainlyRead(file)) : plainlyRead(file));
    fits = fits && wanted.back().fits;
  }
  const MemoryScope memory(kMaxBytes, 0x7F);
  try {
    const std::vector<Matrix*>& got = *facefeature::loadWeightMatrices("layer", transposes);
    if (!fits) fail("weights beyond memory", 0);
    if (got.size() != wanted.size()) fail("the number of weights", got.size());
    for (size_t i = 0; i < got.size(); ++i) requireMatrix(wanted[i], *got[i]);
  } catch (const std::bad_alloc&) {
    if (fits) fail("weights within memory", 0);
  }
}

void checkBiases(const LayerFile& file) {
  const PlainMatrix wanted = plainlyRead(file);
  const MemoryScope memory(kMaxBytes, 0x7F);
  try {
    requireMatrix(wanted, *facefeature::loadBiasMatrix("layer"));
    if (!wanted.fits) fail("biases beyond memory", 0);
  } catch (const std::bad_alloc&) {
    if (wanted.fits) fail("biases within memory", 0);
  }
}

void checkLayerFiles(Input& input) {
  std::vector<LayerFile> files;
  std::string text = "[layer]\nbiases=biases\nweights=";
  for (int32_t count = input.integer(0, 3), i = 0; i < count; ++i) {
    files.push_back(anyLayerFile(input, "weights" + std::to_string(i)));
    text += files.back().name + "_";
  }
  const LayerFile biases = anyLayerFile(input, "biases");
  facefeature::currentDocument().parse(text.c_str(), static_cast<uint32_t>(text.size()));
  checkWeights(files, input.flag());
  checkBiases(biases);
  files.push_back(biases);
  for (const LayerFile& file : files) std::filesystem::remove(pathOf(file.name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool folderStands =
      std::filesystem::create_directories(facefeature_test::modelFolder());
  if (!folderStands) fail("the folder", 0);
  Input input(data, size);
  switch (input.byte() % 4) {
    case 0:
      checkPatchMean(input);
      break;
    case 1:
      checkRawFloats(input);
      break;
    default:
      checkLayerFiles(input);
  }
  return 0;
}

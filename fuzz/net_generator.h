// Makes nets from fuzzing inputs: a text, the files that it names, and the matrices on which it
// runs.
#ifndef FACEFEATURE_FUZZ_NET_GENERATOR_H
#define FACEFEATURE_FUZZ_NET_GENERATOR_H

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_input.h"

namespace facefeature_fuzz {

// A file of the model folder.
struct GeneratedFile {
  std::string name;
  bool exists;  // if false, the file is missing
  std::vector<uint8_t> bytes;
};

struct GeneratedMatrix {
  int32_t rows, cols;
  std::vector<float> values;  // row-major
};

struct GeneratedNet {
  std::string text;
  std::vector<GeneratedFile> files;
  std::vector<GeneratedMatrix> data;
};

// Makes a net whose parts mostly fit together, so that most nets are built and run to the end. Any
// part may occasionally not fit: a number is wrong or not a number, a line is missing, a file has a
// wrong shape in its header, an input is not a layer, or a letter of the text is replaced.
class NetGenerator {
 public:
  explicit NetGenerator(Input& input) : input_(input) {}
  GeneratedNet make();

 private:
  // The output shape of a layer: square planes of one size, one sample per row.
  struct Shape {
    int32_t channels, side;
    int32_t cols() const { return channels * side * side; }
  };
  struct GeneratedLayer {
    std::string name, section;
    Shape shape;
  };

  // True with probability 1 / so.
  bool rarely(int32_t so) { return input_.integer(0, so - 1) == 0; }

  std::string number(int32_t sensible);
  std::string list(const std::vector<int32_t>& sensible);
  std::string decimal();
  void addLine(const std::string& key, const std::string& value);

  std::string addFile(int32_t rows, int32_t cols);
  void addData();
  void addLayer();
  std::vector<size_t> chooseInputs(size_t most);
  void nameInputs(const std::vector<size_t>& inputs);
  void addActsTarget(bool isUsual);
  void addSharing();

  void describeFilterBank(bool isLocal);
  void describeFullyConnected();
  void describePooling();
  void describeNorm(const char* type);
  void describeSum();
  void describeNeuron();
  void describePlain(const char* type, size_t most);

  Input& input_;
  GeneratedNet net_;
  std::vector<GeneratedLayer> layers_;
  GeneratedLayer layer_;  // the net being described
};

// A net with this text, the files f0 (4 x 2), f1 (1 x 2) and f2 (2 x 1), and one 2 x 4 matrix of
// data.
GeneratedNet netOfText(const std::string& text);

}  // namespace facefeature_fuzz

#endif

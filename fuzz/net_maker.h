// Nets that an input describes: a text, the files that it names, and the matrices that it runs on.
#ifndef FACEFEATURE_FUZZ_NET_MAKER_H
#define FACEFEATURE_FUZZ_NET_MAKER_H

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_input.h"

namespace facefeature_fuzz {

// A file of the model folder.
struct MadeFile {
  std::string name;
  bool stands;  // missing otherwise
  std::vector<uint8_t> bytes;
};

struct MadeMatrix {
  int32_t rows, cols;
  std::vector<float> values;  // row by row
};

struct MadeNet {
  std::string text;
  std::vector<MadeFile> files;
  std::vector<MadeMatrix> data;
};

// Makes a net in which most things fit each other, so that it is built and runs to its end, and any
// of them now and then do not: a number is another one or no number, a line is missing, a file lies
// about its shape, an input is no layer, a letter of the text is another one.
class NetMaker {
 public:
  explicit NetMaker(Input& input) : input_(input) {}
  MadeNet make();

 private:
  // What a layer puts out: planes of one side each, in a row a sample.
  struct Shape {
    int32_t channels, side;
    int32_t cols() const { return channels * side * side; }
  };
  struct MadeLayer {
    std::string name, section;
    Shape shape;
  };

  // One in so many.
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
  MadeNet net_;
  std::vector<MadeLayer> layers_;
  MadeLayer layer_;  // the one being described
};

// A net of this text. The files f0 (4 x 2), f1 (1 x 2) and f2 (2 x 1) are there for it, and a
// matrix of 2 x 4.
MadeNet netOfText(const std::string& text);

}  // namespace facefeature_fuzz

#endif

#include "net_generator.h"

#include <algorithm>
#include <cstring>

namespace facefeature_fuzz {
namespace {

void appendNumber(std::vector<uint8_t>& bytes, uint32_t number) {
  for (const int shift : {0, 8, 16, 24}) bytes.push_back(static_cast<uint8_t>(number >> shift));
}

std::vector<uint8_t> matrixBytes(int32_t rows, int32_t cols, const std::vector<float>& values) {
  std::vector<uint8_t> bytes;
  appendNumber(bytes, static_cast<uint32_t>(rows));
  appendNumber(bytes, static_cast<uint32_t>(cols));
  for (const float value : values) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    appendNumber(bytes, bits);
  }
  return bytes;
}

}  // namespace

std::string NetGenerator::number(int32_t sensible) {
  static const char* const kOdd[] = {
      "0",     "1",     "-1", "-7", "2147483647", "-2147483648", "99999999999", "65536",
      "46341", "32768", "x",  "",   "1.9",        "007",         "+3",          "100000"};
  return rarely(48) ? kOdd[input_.integer(0, 15)] : std::to_string(sensible);
}

std::string NetGenerator::list(const std::vector<int32_t>& sensible) {
  std::string text;
  for (const int32_t element : sensible) text += (text.empty() ? "" : "_") + number(element);
  return text;
}

std::string NetGenerator::decimal() {
  static const char* const kOdd[] = {
      "0",   "-0",  "-1",   "1e9",      "x",
      "0.1", "1.5", "-2.0", "16777217", "340282350000000000000000000000000000001"};
  if (rarely(4)) return kOdd[input_.integer(0, 9)];
  return std::to_string(input_.integer(0, 9) - 2) + "." + std::to_string(input_.integer(0, 999));
}

void NetGenerator::addLine(const std::string& key, const std::string& value) {
  if (!rarely(96)) layer_.section += key + "=" + value + "\n";
}

// The floats of the file, sometimes fewer or others than its header says.
std::string NetGenerator::addFile(int32_t rows, int32_t cols) {
  const size_t count = static_cast<size_t>(rows) * static_cast<size_t>(cols);
  const std::string name = "f" + std::to_string(net_.files.size());
  GeneratedFile file = {name, !rarely(32), matrixBytes(rows, cols, input_.floats(count))};
  if (rarely(24)) {
    for (size_t i = input_.flag() ? 0 : 4; i < 8; ++i) file.bytes[i] = input_.byte();
  }
  if (rarely(24)) file.bytes.resize(file.bytes.size() * input_.byte() / 255);
  net_.files.push_back(file);
  return name;
}

void NetGenerator::addData() {
  const Shape shape = {input_.integer(1, 3), input_.integer(1, 8)};
  const int32_t cols = rarely(16) ? input_.integer(0, 200) : shape.cols();
  const int32_t rows = rarely(16) ? 0 : input_.integer(1, 3);
  const size_t count = static_cast<size_t>(rows) * static_cast<size_t>(cols);
  layer_ = {"data" + std::to_string(net_.data.size()), "type=data\n", shape};
  addLine("dataIdx", number(static_cast<int32_t>(net_.data.size())));
  // Never missing and never negative, because the layer would then free a matrix of its caller.
  layer_.section += rarely(16) ? "actsTarget=7\n" : "actsTarget=0\n";
  net_.data.push_back({rows, cols, input_.floats(count)});
  layers_.push_back(layer_);
}

// Usually one input. Several inputs usually have the same shape.
std::vector<size_t> NetGenerator::chooseInputs(size_t most) {
  const int32_t last = static_cast<int32_t>(layers_.size()) - 1;
  std::vector<size_t> inputs;
  inputs.push_back(static_cast<size_t>(input_.flag() ? last : input_.integer(0, last)));
  while (inputs.size() < most && rarely(2)) {
    const size_t next = static_cast<size_t>(input_.integer(0, last));
    const Shape& shape = layers_[inputs[0]].shape;
    if (layers_[next].shape.cols() == shape.cols() || rarely(16)) inputs.push_back(next);
  }
  return inputs;
}

void NetGenerator::nameInputs(const std::vector<size_t>& inputs) {
  static const char* const kUnknownNames[] = {"nobody", "", "layer1", "layer9", "Net"};
  std::string names;
  for (const size_t input : inputs) {
    const bool isUnknown = rarely(96);
    names += (names.empty() ? "" : "_") +
             (isUnknown ? kUnknownNames[input_.integer(0, 4)] : layers_[input].name);
  }
  addLine("inputs", names);
}

void NetGenerator::addActsTarget(bool isUsual) {
  if (isUsual != rarely(16)) addLine("actsTarget", number(rarely(8) ? 1 : 0));
}

void NetGenerator::addSharing() {
  if (!rarely(12)) return;
  const int32_t last = static_cast<int32_t>(layers_.size());
  addLine("weightSourceLayerIndices", number(input_.integer(0, last)));
  addLine("weightSourceMatrixIndices", number(input_.integer(0, 1)));
}

void NetGenerator::describeFilterBank(bool isLocal) {
  const std::vector<size_t> inputs = chooseInputs(3);
  const size_t count = inputs.size();
  const Shape in = layers_[inputs[0]].shape;
  const int32_t filterSize = input_.integer(1, std::min(in.side, 4));
  const int32_t padding = input_.integer(0, filterSize) - (rarely(8) ? 1 : 0);
  const int32_t stride = input_.integer(1, 2);
  const int32_t room = std::max(in.side + 2 * padding - filterSize, 0);
  const int32_t modulesX = room / stride + 1 + (rarely(8) ? 1 : 0);
  const int32_t filters = input_.integer(1, 4);
  const int32_t modules = modulesX * modulesX;
  layer_.section = isLocal ? "type=local\n" : "type=conv\n";
  layer_.shape = {filters, modulesX};
  nameInputs(inputs);
  addLine("padding", list(std::vector<int32_t>(count, padding)));
  addLine("stride", list(std::vector<int32_t>(count, stride)));
  addLine("filterSize", list(std::vector<int32_t>(count, filterSize)));
  addLine("channels", list(std::vector<int32_t>(count, in.channels)));
  addLine("imgSize", list(std::vector<int32_t>(count, in.side)));
  addLine("filters", number(filters));
  addLine("modulesX", number(modulesX));
  std::string weights;
  const int32_t window = in.channels * filterSize * filterSize;
  for (size_t i = 0; i < count; ++i) {
    weights += (i == 0 ? "" : "_") + addFile(isLocal ? modules * window : window, filters);
  }
  addLine("weights", weights);
  const int32_t biases = isLocal ? filters * modules : filters;
  addLine("biases", rarely(12) ? addFile(1, biases) : addFile(biases, 1));
  addSharing();
}

void NetGenerator::describeFullyConnected() {
  const std::vector<size_t> inputs = chooseInputs(3);
  layer_.section = "type=fc\n";
  layer_.shape = {input_.integer(1, 6), 1};
  nameInputs(inputs);
  std::string weights;
  for (const size_t input : inputs) {
    const int32_t rows = layers_[input].shape.cols() + (rarely(8) ? 3 : 0);
    weights += (weights.empty() ? "" : "_") + addFile(rows, layer_.shape.channels);
  }
  addLine("weights", weights);
  addLine("biases",
          rarely(8) ? addFile(layer_.shape.channels, 1) : addFile(1, layer_.shape.channels));
  addSharing();
}

void NetGenerator::describePooling() {
  const std::vector<size_t> inputs = chooseInputs(1);
  const Shape in = layers_[inputs[0]].shape;
  const bool isPairs = input_.flag();
  const int32_t outputs = isPairs && in.side > 1 ? in.side / 2 : input_.integer(1, 6);
  layer_.section = "type=pool\n";
  layer_.shape = {in.channels, outputs};
  nameInputs(inputs);
  addLine("pool", rarely(96) ? "middle" : input_.flag() ? "max" : "avg");
  addLine("channels", number(in.channels));
  addLine("sizeX", number(isPairs ? 2 : input_.integer(1, 4)));
  addLine("start", number(isPairs ? 0 : input_.integer(0, 3) - 2));
  addLine("stride", number(isPairs ? 2 : input_.integer(1, 3)));
  addLine("outputsX", number(outputs));
}

void NetGenerator::describeNorm(const char* type) {
  const std::vector<size_t> inputs = chooseInputs(1);
  const Shape in = layers_[inputs[0]].shape;
  layer_.section = "type=" + std::string(type) + "\n";
  layer_.shape = in;
  nameInputs(inputs);
  addLine("channels", number(in.channels));
  addLine("sizeX", number(input_.integer(1, 5)));
  addLine("scale", decimal());
  addLine("pow", decimal());
  addLine("imgSize", number(in.side));
}

void NetGenerator::describeSum() {
  const std::vector<size_t> inputs = chooseInputs(4);
  layer_.section = "type=eltsum\n";
  layer_.shape = layers_[inputs[0]].shape;
  nameInputs(inputs);
  std::string coefficients;
  for (size_t i = 0; i < inputs.size(); ++i) {
    coefficients += (i == 0 ? "" : "_") + (rarely(2) ? std::string("1") : decimal());
  }
  addLine("coeffs", coefficients);
}

void NetGenerator::describeNeuron() {
  static const char* const kNeurons[] = {"relu", "softrelu", "brelu", "abs",    "logistic",
                                         "tanh", "square",   "sqrt",  "linear", "ident"};
  const std::vector<size_t> inputs = chooseInputs(1);
  layer_.section = "type=neuron\n";
  layer_.shape = layers_[inputs[0]].shape;
  nameInputs(inputs);
  addLine("neuron", rarely(96) ? "nerve" : kNeurons[input_.integer(0, 9)]);
  addLine("a", decimal());
  addLine("b", decimal());
}

void NetGenerator::describePlain(const char* type, size_t most) {
  const std::vector<size_t> inputs = chooseInputs(most);
  layer_.section = "type=" + std::string(type) + "\n";
  layer_.shape = layers_[inputs[0]].shape;
  nameInputs(inputs);
}

void NetGenerator::addLayer() {
  layer_ = {"layer" + std::to_string(layers_.size()), "", {1, 1}};
  const int32_t type = input_.integer(0, 63) % 13;
  if (type == 0) describeFilterBank(true);
  if (type == 1 || type == 2) describeFilterBank(false);
  if (type == 3) describeFullyConnected();
  if (type == 4 || type == 5) describePooling();
  if (type == 6) describeNorm("cmrnorm");
  if (type == 7) describeNorm(input_.flag() ? "rnorm" : "cnorm");
  if (type == 8) describePlain("softmax", 1);
  if (type == 9) describeSum();
  if (type == 10) describePlain("eltmax", 4);
  if (type == 11) describeNeuron();
  if (type == 12) describePlain(rarely(8) ? "layer" : "softmax", 1);
  addActsTarget(type == 11);
  layers_.push_back(layer_);
}

GeneratedNet NetGenerator::make() {
  for (int32_t count = input_.integer(1, 3); count > 0; --count) addData();
  for (int32_t count = input_.integer(0, 8); count > 0; --count) addLayer();
  std::string names, sections;
  for (const GeneratedLayer& layer : layers_) {
    names += (names.empty() ? "" : "_") + layer.name;
    sections += "[" + layer.name + "]\n" + layer.section;
  }
  std::string& text = net_.text;
  text = "[Net]\nLayerCount=" + number(static_cast<int32_t>(layers_.size())) +
         "\nLayerNames=" + names + "\n" + sections;
  if (rarely(16)) {
    for (int32_t changes = input_.integer(1, 3); changes > 0; --changes) {
      const size_t position = static_cast<size_t>(input_.integer(0, 65535)) % text.size();
      text[position] = static_cast<char>(input_.byte());
    }
  }
  return net_;
}

GeneratedNet netOfText(const std::string& text) {
  GeneratedNet net;
  net.text = text;
  net.files.push_back({"f0", true, matrixBytes(4, 2, {1, -2, 3, 0.5f, -5, 6, 0.1f, 8})});
  net.files.push_back({"f1", true, matrixBytes(1, 2, {0.25f, -3})});
  net.files.push_back({"f2", true, matrixBytes(2, 1, {7, 0.75f})});
  net.data.push_back({2, 4, {1, -2, 3, -4, 5, -6, 7, -8}});
  return net;
}

}  // namespace facefeature_fuzz

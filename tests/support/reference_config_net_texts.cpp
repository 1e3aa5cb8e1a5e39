#include <sstream>

#include "support/reference_config.h"

// The texts of the nets, made by loops over lists of keys and from the geometry of the layers.
namespace reference {
namespace {

struct Stage {
  const char* layer;
  int filters;
  int filterSize;
};
constexpr Stage kStages[4] = {
    {"conv1", 16, 4}, {"conv2", 32, 3}, {"local3", 48, 3}, {"local4", 64, 2}};

// Keys with the values of one layer, to be put into the order in which a text has them.
class Lines {
 public:
  template <typename Value>
  void set(const std::string& key, const Value& value) {
    std::ostringstream text;
    text << value;
    values_.push_back({key, {text.str()}});
  }

  // The keys of a list that is separated by blanks, in its order.
  std::vector<ConfigEntry> inOrder(const std::string& keys) const {
    std::vector<ConfigEntry> ordered;
    std::istringstream list(keys);
    for (std::string key; list >> key;) {
      for (const ConfigEntry& entry : values_) {
        if (entry.key == key) ordered.push_back(entry);
      }
    }
    return ordered;
  }

 private:
  std::vector<ConfigEntry> values_;
};

std::string numbered(const char* prefix, int number) { return prefix + std::to_string(number); }

std::string fileName(int stage, int net, int item) {
  return std::to_string(stage) + "-" + std::to_string(net) + "-" + std::to_string(item);
}

NetSection convSection(int stage, int net, int channels, int imgSize) {
  const Stage& shape = kStages[stage - 1];
  Lines lines;
  lines.set("type", "conv");
  lines.set("inputs", stage == 1 ? "data" : numbered("pool", stage - 1));
  lines.set("channels", channels);
  lines.set("filters", shape.filters);
  lines.set("padding", 0);
  lines.set("stride", 1);
  lines.set("filterSize", shape.filterSize);
  lines.set("weights", fileName(stage, net, 1));
  lines.set("biases", fileName(stage, net, 2));
  lines.set("filterPixels", shape.filterSize * shape.filterSize);
  lines.set("imgSize", imgSize);
  lines.set("imgPixels", imgSize * imgSize);
  lines.set("modulesX", imgSize - shape.filterSize + 1);
  const std::string head = stage == 4 ? "type inputs filters padding stride filterSize channels"
                                      : "type inputs channels filters padding stride filterSize";
  return {shape.layer,
          lines.inOrder(head + " weights biases filterPixels imgSize imgPixels modulesX")};
}

NetSection neuronSection(int stage) {
  Lines lines;
  lines.set("type", "neuron");
  lines.set("neuron", "relu");
  lines.set("inputs", kStages[stage - 1].layer);
  lines.set("actsTarget", 0);
  return {numbered("neuron", stage), lines.inOrder("type neuron inputs actsTarget")};
}

NetSection poolSection(int stage, int channels, int outputs) {
  Lines lines;
  lines.set("type", "pool");
  lines.set("pool", "max");
  lines.set("inputs", numbered("neuron", stage));
  lines.set("start", 0);
  lines.set("sizeX", 2);
  lines.set("stride", 2);
  lines.set("outputsX", outputs);
  lines.set("channels", channels);
  return {numbered("pool", stage),
          lines.inOrder("type pool inputs start sizeX stride outputsX channels")};
}

NetSection fullyConnectedSection(int net) {
  Lines lines;
  lines.set("type", "fc");
  lines.set("outputs", 160);
  lines.set("inputs", "local4_pool3");
  lines.set("weights", fileName(5, net, 1) + "_" + fileName(5, net, 2));
  lines.set("biases", fileName(5, net, 3));
  return {"fc", lines.inOrder("type outputs inputs weights biases")};
}

}  // namespace

const std::array<NetRow, 25>& netRows() {
  static const std::array<NetRow, 25> kRows = {{
      {1, 3, 55, 1677},  {2, 3, 55, 1677},  {3, 3, 47, 1676},  {4, 1, 47, 1676},  {5, 3, 47, 1676},
      {6, 1, 47, 1676},  {7, 1, 47, 1676},  {8, 3, 47, 1676},  {9, 1, 47, 1676},  {10, 1, 47, 1687},
      {11, 3, 47, 1688}, {12, 1, 47, 1688}, {13, 1, 47, 1688}, {14, 3, 47, 1688}, {15, 1, 47, 1688},
      {16, 1, 47, 1688}, {17, 3, 47, 1688}, {18, 1, 47, 1688}, {19, 3, 47, 1688}, {20, 1, 47, 1688},
      {21, 3, 47, 1688}, {22, 1, 47, 1688}, {23, 3, 47, 1688}, {24, 1, 47, 1688}, {25, 3, 47, 1688},
  }};
  return kRows;
}

std::vector<NetSection> netSections(int netIndex) {
  const NetRow& row = netRows()[static_cast<size_t>(netIndex)];
  std::vector<NetSection> layers;
  layers.push_back(
      {"data",
       {{"type", {"data"}}, {"dataIdx", {std::to_string(netIndex)}}, {"actsTarget", {"0"}}}});
  int channels = row.channels;
  int size = row.size;
  for (int stage = 1; stage <= 4; ++stage) {
    const Stage& shape = kStages[stage - 1];
    layers.push_back(convSection(stage, row.number, channels, size));
    layers.push_back(neuronSection(stage));
    channels = shape.filters;
    size = (size - shape.filterSize + 1) / 2;
    if (stage < 4) layers.push_back(poolSection(stage, channels, size));
  }
  layers.push_back(fullyConnectedSection(row.number));

  std::string names;
  for (const NetSection& layer : layers) names += (names.empty() ? "" : "_") + layer.name;
  NetSection net{"Net", {{"LayerCount", {std::to_string(layers.size())}}, {"LayerNames", {names}}}};
  layers.insert(layers.begin(), net);
  return layers;
}

std::string netText(int netIndex) {
  std::string text;
  for (const NetSection& section : netSections(netIndex)) {
    if (!text.empty()) text += "  \n ";
    text += "[" + section.name + "] \n";
    for (const ConfigEntry& line : section.lines) {
      text += " " + line.key + "=" + line.values[0] + " \n";
    }
  }
  return text + " ";
}

}  // namespace reference

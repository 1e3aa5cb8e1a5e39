// What a net's text must lead to, according to an independent reader of texts.
#ifndef FACEFEATURE_FUZZ_TEXT_ORACLE_H
#define FACEFEATURE_FUZZ_TEXT_ORACLE_H

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "support/reference_config.h"

namespace facefeature_fuzz {

class TextOracle {
 public:
  explicit TextOracle(const std::string& text) : content_(reference::parseConfig(text)) {
    const std::vector<std::string> names = reference::splitList(value("Net", "LayerNames"));
    const reference::IntReading count = reference::readInt(value("Net", "LayerCount"));
    const int64_t layers = count.written ? count.value : 0;
    for (int64_t i = 0; i < layers && i < static_cast<int64_t>(names.size()); ++i) {
      layers_.push_back(names[static_cast<size_t>(i)]);
    }
  }

  // The message for the first unknown keyword among the layers; empty if all are known.
  std::string fatalReason() const {
    for (const std::string& name : layers_) {
      const std::string type = value(name, "type");
      if (!isOneOf(type, {"fc", "conv", "local", "pool", "rnorm", "cmrnorm", "cnorm", "softmax",
                          "eltsum", "eltmax", "neuron", "data"})) {
        return "Unknown layer type " + type;
      }
      const std::string pool = value(name, "pool");
      if (type == "pool" && !isOneOf(pool, {"max", "avg"})) {
        return "Unknown pooling layer type " + pool;
      }
      const std::string neuron = value(name, "neuron");
      if (type == "neuron" && !isOneOf(neuron, {"relu", "softrelu", "brelu", "abs", "logistic",
                                                "tanh", "square", "sqrt", "linear", "ident"})) {
        return "Unknown neuron type: " + neuron;
      }
    }
    return "";
  }

  bool hasDataLayerWithAnOutput() const {
    for (const std::string& name : layers_) {
      const reference::IntReading target = reference::readInt(value(name, "actsTarget"));
      if (value(name, "type") == "data" && !(target.written && target.value >= 0)) return true;
    }
    return false;
  }

 private:
  static bool isOneOf(const std::string& word, const std::vector<std::string>& words) {
    return std::find(words.begin(), words.end(), word) != words.end();
  }

  // The first value of the key, or nothing.
  std::string value(const std::string& sectionName, const std::string& key) const {
    const int32_t s = reference::lookUp(reference::namesOf(content_.sections), sectionName);
    if (s < 0) return "";
    const reference::ConfigSection& section = content_.sections[static_cast<size_t>(s)];
    const int32_t k = reference::lookUp(reference::keysOf(section), key);
    return k < 0 ? "" : section.entries[static_cast<size_t>(k)].values[0];
  }

  reference::ConfigContent content_;
  std::vector<std::string> layers_;
};

}  // namespace facefeature_fuzz

#endif

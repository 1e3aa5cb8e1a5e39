#include "config/layer_parameters.h"

#include <locale>
#include <memory>
#include <sstream>

#include "config/net_documents.h"

namespace facefeature {
namespace {

std::string valueOf(const std::string& sectionName, const std::string& key) {
  std::string value;
  currentSection(sectionName).getString(key, value);
  return value;
}

// A stream over one token, as number lists are read.
std::istringstream tokenStream(const std::string& token) {
  std::istringstream stream(token);
  stream.imbue(std::locale::classic());
  return stream;
}

}  // namespace

std::vector<std::string> splitList(const std::string& text) {
  std::vector<std::string> tokens;
  std::istringstream stream(text);
  std::string token;
  while (std::getline(stream, token, '_')) tokens.push_back(token);
  return tokens;
}

// One variable serves the whole list: a token that is not a number repeats the previous value. A
// stream writes 0 or a limit when it fails, so it extracts into a separate variable.
std::vector<int32_t>* getIntList(const std::string& sectionName, const std::string& key) {
  auto list = std::make_unique<std::vector<int32_t>>();
  int32_t number = 0;
  for (const std::string& token : splitList(valueOf(sectionName, key))) {
    int32_t read;
    if (tokenStream(token) >> read) number = read;
    list->push_back(number);
  }
  return list.release();
}

std::vector<float>* getFloatList(const std::string& sectionName) {
  auto list = std::make_unique<std::vector<float>>();
  float number = 0.0f;
  for (const std::string& token : splitList(valueOf(sectionName, "coeffs"))) {
    float read;
    if (tokenStream(token) >> read) number = read;
    list->push_back(number);
  }
  return list.release();
}

std::vector<std::string>* getStringList(const std::string& sectionName, const std::string& key) {
  return new std::vector<std::string>(splitList(valueOf(sectionName, key)));
}

int32_t findLayerName(const std::vector<std::string>& names, const std::string& name) {
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i] == name) return static_cast<int32_t>(i);
  }
  return -1;
}

}  // namespace facefeature

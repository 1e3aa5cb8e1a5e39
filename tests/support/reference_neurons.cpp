#include "support/reference_neurons.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <stdexcept>

#include "support/reference_arithmetic.h"

namespace reference {
namespace {

using Function = std::function<float(NeuronParameters, float)>;

double wide(float x) { return static_cast<double>(x); }

float positivePart(float x) { return x > 0.0f ? x : 0.0f; }

float withoutSign(float x) {
  uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  bits = bits << 1 >> 1;
  std::memcpy(&x, &bits, sizeof bits);
  return x;
}

const std::map<std::string, Function>& functions() {
  static const std::map<std::string, Function> all = {
      {"ident", [](NeuronParameters, float x) { return x; }},
      {"relu", [](NeuronParameters, float x) { return positivePart(x); }},
      {"softrelu", [](NeuronParameters,
                      float x) { return rounded(std::log(wide(sum(exponential(x), 1.0f)))); }},
      {"brelu",
       [](NeuronParameters p, float x) {
         const float lowerBounded = positivePart(x);
         return p.a > lowerBounded ? lowerBounded : p.a;
       }},
      {"abs", [](NeuronParameters, float x) { return withoutSign(x); }},
      {"logistic",
       [](NeuronParameters, float x) {
         return quotient(1.0f, sum(exponential(product(x, -1.0f)), 1.0f));
       }},
      {"tanh", [](NeuronParameters p,
                  float x) { return product(rounded(std::tanh(wide(product(p.b, x)))), p.a); }},
      {"square", [](NeuronParameters, float x) { return product(x, x); }},
      {"sqrt", [](NeuronParameters, float x) { return rounded(std::sqrt(wide(x))); }},
      {"linear", [](NeuronParameters p, float x) { return sum(product(x, p.a), p.b); }},
  };
  return all;
}

}  // namespace

const std::vector<std::string>& neuronKeywords() {
  static const std::vector<std::string> keywords = [] {
    std::vector<std::string> names;
    for (const auto& entry : functions()) names.push_back(entry.first);
    return names;
  }();
  return keywords;
}

float neuronValue(const std::string& keyword, NeuronParameters parameters, float x) {
  const auto entry = functions().find(keyword);
  if (entry == functions().end()) throw std::invalid_argument("no neuron " + keyword);
  return entry->second(parameters, x);
}

std::vector<float> neuronValues(const std::string& keyword, NeuronParameters parameters,
                                const std::vector<float>& values) {
  std::vector<float> results;
  for (const float x : values) results.push_back(neuronValue(keyword, parameters, x));
  return results;
}

}  // namespace reference

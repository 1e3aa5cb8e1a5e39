// Oracle of the activation functions: one element at a time, in exact single steps.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_NEURONS_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_NEURONS_H

#include <string>
#include <vector>

namespace reference {

struct NeuronParameters {
  float a = 0.0f;
  float b = 0.0f;
};

// The ten keywords.
const std::vector<std::string>& neuronKeywords();

// The result of this keyword's neuron for one element. Throws std::invalid_argument for an unknown
// keyword.
float neuronValue(const std::string& keyword, NeuronParameters parameters, float x);

// The same for a whole array.
std::vector<float> neuronValues(const std::string& keyword, NeuronParameters parameters,
                                const std::vector<float>& values);

}  // namespace reference

#endif

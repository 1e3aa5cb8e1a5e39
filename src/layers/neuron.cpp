#include "layers/neuron.h"

#include <cmath>

#include "config/net_documents.h"
#include "kernels/blas.h"
#include "kernels/rounded_math.h"
#include "kernels/vector_math.h"

namespace facefeature {
namespace {

float parameter(const std::string& layerName, const char* key) {
  float value = 0.0f;
  currentSection(layerName).getFloat(key, value);
  return value;
}

}  // namespace

Neuron::Neuron() : applied(false), matrix(nullptr) {}

void Neuron::transform() {}

void Neuron::run(Matrix* target) {
  matrix = target;
  applied = true;
  transform();
}

void ReluNeuron::transform() { matrix->maxWithScalar(0.0f, *matrix); }

void SoftReluNeuron::transform() {
  for (int32_t i = 0; i < matrix->size; ++i) {
    matrix->buffer[i] = roundedLog(roundedExp(matrix->buffer[i]) + 1.0f);
  }
}

BoundedReluNeuron::BoundedReluNeuron(float bound) : a(bound) {}

void BoundedReluNeuron::transform() {
  for (int32_t i = 0; i < matrix->size; ++i) {
    const float x = matrix->buffer[i];
    // The upper bound is applied second and wins: with a at or below 0 everything becomes a.
    const float positive = x > 0.0f ? x : 0.0f;
    matrix->buffer[i] = a > positive ? positive : a;
  }
}

void AbsNeuron::transform() {
  for (int32_t i = 0; i < matrix->size; ++i) matrix->buffer[i] = std::fabs(matrix->buffer[i]);
}

void LogisticNeuron::transform() {
  cblas_sscal(matrix->size, -1.0f, matrix->buffer, 1);
  matrix->applyFunction(MatrixFunction::Exp, *matrix);
  matrix->addScalar(1.0f, *matrix);
  matrix->applyFunction(MatrixFunction::Reciprocal, *matrix);
}

TanhNeuron::TanhNeuron(float outer, float inner) : a(outer), b(inner) {}

void TanhNeuron::transform() {
  for (int32_t i = 0; i < matrix->size; ++i) {
    matrix->buffer[i] = roundedTanh(b * matrix->buffer[i]) * a;
  }
}

void SquareNeuron::transform() { vsSqr(matrix->size, matrix->buffer, matrix->buffer); }

void SqrtNeuron::transform() {
  for (int32_t i = 0; i < matrix->size; ++i) matrix->buffer[i] = roundedSqrt(matrix->buffer[i]);
}

LinearNeuron::LinearNeuron(float factor, float summand) : a(factor), b(summand) {}

void LinearNeuron::transform() {
  for (int32_t i = 0; i < matrix->size; ++i) matrix->buffer[i] = matrix->buffer[i] * a + b;
}

Neuron* createNeuron(const std::string& layerName, const char* type) {
  const std::string keyword = type;
  if (keyword == "relu") return new ReluNeuron();
  if (keyword == "softrelu") return new SoftReluNeuron();
  if (keyword == "brelu") return new BoundedReluNeuron(parameter(layerName, "a"));
  if (keyword == "abs") return new AbsNeuron();
  if (keyword == "logistic") return new LogisticNeuron();
  if (keyword == "tanh") {
    const float a = parameter(layerName, "a");
    return new TanhNeuron(a, parameter(layerName, "b"));
  }
  if (keyword == "square") return new SquareNeuron();
  if (keyword == "sqrt") return new SqrtNeuron();
  if (keyword == "linear") {
    const float a = parameter(layerName, "a");
    return new LinearNeuron(a, parameter(layerName, "b"));
  }
  if (keyword == "ident") return new Neuron();
  throw std::string("Unknown neuron type: " + keyword);
}

}  // namespace facefeature

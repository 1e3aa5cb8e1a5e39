// The activation functions.
#ifndef FACEFEATURE_LAYERS_NEURON_H
#define FACEFEATURE_LAYERS_NEURON_H

#include <string>

#include "kernels/matrix.h"

namespace facefeature {

// Rewrites a matrix in place, element by element in storage order. The base class is the keyword
// "ident": it changes no bit. Where floats and doubles alternate, the order in the .cpp is part of
// the result.
//
// No virtual destructor: neurons hold nothing that needs freeing, and their owner frees them as
// plain storage (::operator delete).
class Neuron {
 public:
  Neuron();

  virtual void transform();

  // Stores the matrix, sets applied and calls transform.
  virtual void run(Matrix* target);

  bool applied;    // whether run has ever been called; nothing reads it
  Matrix* matrix;  // of the latest run, not owned

 protected:
  ~Neuron() = default;
};

// x if x > 0, else +0: also for NaN and -0.
class ReluNeuron : public Neuron {
 public:
  void transform() override;
};

// log(exp(x) + 1), without a guard: a large x gives infinity.
class SoftReluNeuron : public Neuron {
 public:
  void transform() override;
};

// min(max(x, 0), a): the lower bound is applied first, and the upper one wins.
class BoundedReluNeuron : public Neuron {
 public:
  explicit BoundedReluNeuron(float bound);
  void transform() override;
  float a;
};

class AbsNeuron : public Neuron {
 public:
  void transform() override;
};

// 1 / (exp(-x) + 1), in four passes over the matrix.
class LogisticNeuron : public Neuron {
 public:
  void transform() override;
};

// a tanh(b x).
class TanhNeuron : public Neuron {
 public:
  TanhNeuron(float outer, float inner);
  void transform() override;
  float a;
  float b;
};

class SquareNeuron : public Neuron {
 public:
  void transform() override;
};

class SqrtNeuron : public Neuron {
 public:
  void transform() override;
};

// a x + b.
class LinearNeuron : public Neuron {
 public:
  LinearNeuron(float factor, float summand);
  void transform() override;
  float a;
  float b;
};

// A new neuron for the keyword, owned by the caller, to be freed by ::operator delete. Parameters a
// and b come from the section called layerName of the current document; a missing one is 0, which
// is not a neutral value. Throws the text "Unknown neuron type: " and the keyword.
Neuron* createNeuron(const std::string& layerName, const char* type);

}  // namespace facefeature

#endif

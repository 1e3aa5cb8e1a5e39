#include "net/layer.h"

#include "config/net_documents.h"
#include "net/conv_net.h"

namespace facefeature {

// The counters need no value: resetForward precedes every run. They are initialised nevertheless,
// since saving a store is not worth a read of uninitialised memory.
Layer::Layer(ConvNet* net, const char* layerName)
    : owner(net),
      receivedInputs(0),
      spareCounter(0),
      activations(nullptr),
      actsTarget(-1),
      name(layerName),
      isDeferred(false) {
  const ConfigSection& section = currentSection(name);
  section.getString("type", type);
  section.getInt("actsTarget", actsTarget);
  if (actsTarget < 0) activations = new Matrix();
}

Layer::~Layer() {
  if (actsTarget >= 0) return;
  delete activations;
  activations = nullptr;
}

void Layer::runForward(std::vector<Matrix*>& inputs) {
  if (isDeferred) owner->completeForward();
  inputMatrices = inputs;
  const bool inPlace = actsTarget >= 0;
  if (inPlace) activations = inputMatrices.at(static_cast<size_t>(actsTarget));
  const int32_t inputCount = static_cast<int32_t>(inputLayers.size());
  receivedInputs = inputCount;
  if (inPlace) applyInput(actsTarget, 0.0f);
  for (int32_t i = 0; i < inputCount; ++i) {
    if (i == actsTarget) continue;
    applyInput(i, !inPlace && i == 0 ? 0.0f : 1.0f);
  }
  // The order matters: a layer that rewrites this one's output in place comes before one that reads
  // the result.
  for (Layer* output : outputLayers) output->notifyInputReady();
}

void Layer::notifyInputReady() {
  ++receivedInputs;
  if (receivedInputs != static_cast<int32_t>(inputLayers.size())) return;
  // Fetched only now: an input's matrix may change from run to run.
  std::vector<Matrix*> inputs;
  inputs.reserve(inputLayers.size());
  for (Layer* input : inputLayers) inputs.push_back(input->getActivations());
  runForward(inputs);
}

void Layer::resetForward() {
  receivedInputs = 0;
  spareCounter = 0;
}

Matrix* Layer::getActivations() {
  if (isDeferred) owner->completeForward();
  return activations;
}

}  // namespace facefeature

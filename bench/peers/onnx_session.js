// A session of ONNX Runtime with its inputs.
'use strict';

const fs = require('fs');
const path = require('path');
const { NET_COUNT } = require('./model_folder.js');

const NET_FLOATS = 320; // two rows of 160
const OUTPUT_FLOATS = NET_COUNT * NET_FLOATS;

function loadRuntime(work) {
  return require(path.join(work, 'node_modules', 'onnxruntime-node'));
}

// inputs.json has the offset of each input, in floats.
function inputTensors(runtime, work, metadata) {
  const bytes = fs.readFileSync(path.join(work, 'inputs.bin'));
  const floats = new Float32Array(Uint8Array.from(bytes).buffer);
  const starts = JSON.parse(fs.readFileSync(path.join(work, 'inputs.json'), 'utf8'));
  return Object.fromEntries(metadata.map(({ name, shape }) => {
    const count = shape.reduce((product, dim) => product * dim, 1);
    const values = floats.slice(starts[name], starts[name] + count);
    return [name, new runtime.Tensor('float32', values, shape)];
  }));
}

// Resolves to a function that runs the model once and stores the outputs of its nets in `outputs`,
// which has room for all 25 nets.
async function openSession(work, model, options, outputs) {
  const runtime = loadRuntime(work);
  const session = await runtime.InferenceSession.create(path.join(work, model), {
    executionProviders: ['cpu'],
    graphOptimizationLevel: 'all',
    ...options,
  });
  const feeds = inputTensors(runtime, work, session.inputMetadata);
  const targets = session.outputNames.map((name) => {
    const net = Number(/^net(\d+)_/.exec(name)[1]);
    return { name, start: (net - 1) * NET_FLOATS };
  });
  return async () => {
    const results = await session.run(feeds);
    for (const { name, start } of targets) outputs.set(results[name].data, start);
  };
}

module.exports = { OUTPUT_FLOATS, loadRuntime, openSession };

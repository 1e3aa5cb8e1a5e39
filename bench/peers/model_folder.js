// Reads a folder of model files (docs/model-files.md).
'use strict';

const fs = require('fs');
const path = require('path');

const NET_COUNT = 25;

// The floats of a file after its header of `words` 32-bit words. Read one by one, because node may
// return the bytes of a small file at an offset that is not aligned for floats.
function floatsAfter(bytes, words, count) {
  const wanted = 4 * (words + count);
  if (bytes.length !== wanted) throw new Error(`${bytes.length} bytes instead of ${wanted}`);
  const floats = new Float32Array(count);
  for (let i = 0; i < count; ++i) floats[i] = bytes.readFloatLE(4 * (words + i));
  return floats;
}

function readMatrix(folder, name) {
  const bytes = fs.readFileSync(path.join(folder, name));
  const rows = bytes.readInt32LE(0);
  const cols = bytes.readInt32LE(4);
  return { rows, cols, values: floatsAfter(bytes, 2, rows * cols) };
}

// Net n (1 to 25): its matrices, and the shape of its input, which two of the files determine.
function readNet(folder, n) {
  const stages = [1, 2, 3, 4].map((stage) => ({
    weights: readMatrix(folder, `${stage}-${n}-1`),
    biases: readMatrix(folder, `${stage}-${n}-2`),
  }));
  const sampleFloats = fs.readFileSync(path.join(folder, `0-${n}-0`)).readInt32LE(0);
  const channels = stages[0].weights.rows / 16;
  return {
    name: `net${n}`,
    channels,
    side: Math.sqrt(sampleFloats / channels),
    sampleFloats,
    stages,
    fcWeights: [readMatrix(folder, `5-${n}-1`), readMatrix(folder, `5-${n}-2`)],
    fcBiases: readMatrix(folder, `5-${n}-3`),
  };
}

function readNets(folder) {
  return Array.from({ length: NET_COUNT }, (_, i) => readNet(folder, i + 1));
}

module.exports = { NET_COUNT, readNets };

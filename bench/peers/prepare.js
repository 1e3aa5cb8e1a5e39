// prepare.js MODEL WORK
//
// Writes into the folder WORK what both engines are given: the nets of the model folder MODEL as
// ONNX files; inputs.bin, one sample matrix of two rows for each net, all behind each other; and
// inputs.json, at which float the matrix of each input starts.
'use strict';

const fs = require('fs');
const path = require('path');
const { readNets } = require('./model_folder.js');
const { ROWS, inputName, onnxModel } = require('./onnx_file.js');

// Multiply-adds of one row, for spreading the nets over two threads.
function workOf(net) {
  let side = net.side;
  let work = net.fcWeights[0].values.length + net.fcWeights[1].values.length;
  let channels = net.channels;
  net.stages.forEach(({ weights }, i) => {
    side = side - Math.sqrt(weights.rows / channels) + 1;
    work += side * side * weights.values.length;
    channels = weights.cols;
    if (i < 3) side /= 2;
  });
  return work;
}

// Two groups of nearly equal work: the heaviest net first, each to the group with less so far.
function halves(nets) {
  const groups = [{ work: 0, nets: [] }, { work: 0, nets: [] }];
  for (const net of [...nets].sort((a, b) => workOf(b) - workOf(a))) {
    const group = groups[0].work <= groups[1].work ? groups[0] : groups[1];
    group.work += workOf(net);
    group.nets.push(net);
  }
  return groups.map((group) => group.nets);
}

// Pixels less their mean lie some dozens to either side of zero. The same numbers on every run.
function sampleFloats(count) {
  const floats = new Float32Array(count);
  let state = 1;
  for (let i = 0; i < count; ++i) {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    floats[i] = (state / 2 ** 32 - 0.5) * 120;
  }
  return floats;
}

const [model, work] = process.argv.slice(2);
const nets = readNets(model);
const write = (name, bytes) => fs.writeFileSync(path.join(work, name), bytes);

nets.forEach((net) => write(`${net.name}.onnx`, onnxModel([net])));
write('all.onnx', onnxModel(nets));
halves(nets).forEach((half, i) => write(`half${i + 1}.onnx`, onnxModel(half)));

const starts = {};
let count = 0;
for (const net of nets) {
  starts[inputName(net)] = count;
  count += ROWS * net.sampleFloats;
}
write('inputs.json', JSON.stringify(starts));
write('inputs.bin', Buffer.from(sampleFloats(count).buffer));

// prepare.js MODEL WORK
//
// Writes the inputs of both engines to the folder WORK: the nets of the model folder MODEL as ONNX
// files; inputs.bin, the concatenated sample matrices, two rows for each net; and inputs.json, the
// offset of each matrix in floats.
'use strict';

const fs = require('fs');
const path = require('path');
const { readNets } = require('./model_folder.js');
const { ROWS, inputName, onnxModel } = require('./onnx_file.js');

// Multiply-adds for one row, to distribute the nets over two threads.
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

// Two groups of nearly equal work: the nets in descending order of work, each to the smaller group.
function halves(nets) {
  const groups = [{ work: 0, nets: [] }, { work: 0, nets: [] }];
  for (const net of [...nets].sort((a, b) => workOf(b) - workOf(a))) {
    const group = groups[0].work <= groups[1].work ? groups[0] : groups[1];
    group.work += workOf(net);
    group.nets.push(net);
  }
  return groups.map((group) => group.nets);
}

// Pixels minus their mean are within some dozens of zero. The same numbers in every run.
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

// compare.js PROGRAM MODEL WORK [ROUNDS [SECONDS]]
//
// Runs the net stage in this library (PROGRAM is peers_net_stage) and in ONNX Runtime in turns, each
// turn in a process of its own. Prints the times and whether the results agree. prepare.js has
// filled the folder WORK. TMPDIR for the library is the parent folder of MODEL.
'use strict';

const { execFileSync } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { setups } = require('./onnx_setups.js');
const { OUTPUT_FLOATS } = require('./onnx_session.js');

const ROW_FLOATS = 160;

// Each engine sums up to 1200 products in its own order, in five layers: the results differ by some
// dozens of units in the last place of a float, 6e-8 each. A misplaced weight costs 1e-2 or more.
const LARGEST_DIFFERENCE = 1e-5;

// Time of this library relative to ONNX Runtime, by number of threads: at most this.
const GOALS = { 1: 0.6, 2: 0.62 };

const [program, model, work, rounds = '5', seconds = '0.4'] = process.argv.slice(2);

function ourTurn(threads) {
  const outputs = path.join(work, `outputs-ours-${threads}.bin`);
  const env = { ...process.env, TMPDIR: path.dirname(model), OMP_NUM_THREADS: String(threads) };
  const inputs = path.join(work, 'inputs.bin');
  return {
    engine: 'facefeature',
    label: 'runNets',
    threads,
    outputs,
    take: () => execFileSync(program, [inputs, outputs, seconds], { env }),
  };
}

function onnxTurn([name, { threads, label }]) {
  const outputs = path.join(work, `outputs-${name}.bin`);
  const script = path.join(__dirname, 'onnx_stage.js');
  return {
    engine: 'ONNX Runtime',
    label,
    threads,
    outputs,
    take: () => execFileSync(process.execPath, [script, name, work, seconds, outputs]),
  };
}

const ours = [ourTurn(1), ourTurn(2)];
const theirs = Object.entries(setups).map(onnxTurn);
const turns = [...ours, ...theirs].sort((a, b) => a.threads - b.threads);

function readFloats(file) {
  const floats = new Float32Array(Uint8Array.from(fs.readFileSync(file)).buffer);
  if (floats.length !== OUTPUT_FLOATS) throw new Error(`${file} holds ${floats.length} floats`);
  return floats;
}

// The largest difference between two results, relative to the largest number in its row.
function difference(a, b) {
  let worst = 0;
  for (let start = 0; start < OUTPUT_FLOATS; start += ROW_FLOATS) {
    const row = (floats) => floats.subarray(start, start + ROW_FLOATS);
    const scale = row(b).reduce((largest, value) => Math.max(largest, Math.abs(value)), 0);
    row(a).forEach((value, k) => {
      const relative = Math.abs(value - row(b)[k]) / scale;
      // Written so that a NaN is kept.
      if (!(relative <= worst)) worst = relative;
    });
    if (Number.isNaN(worst)) return NaN;
  }
  return worst;
}

function median(values) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.floor(sorted.length / 2)];
}

// The order is reversed in every other round, so that a machine that warms up or slows down favours
// no turn.
function takeTurns() {
  for (const turn of turns) turn.times = [];
  for (let round = 0; round < Number(rounds); ++round) {
    for (const turn of round % 2 === 0 ? turns : [...turns].reverse()) {
      turn.times.push(JSON.parse(turn.take()));
    }
  }
  for (const turn of turns) {
    turn.minimum = Math.min(...turn.times.map((time) => time.minimum));
    turn.median = median(turn.times.map((time) => time.median));
  }
}

// Share of processor time that other programs use, measured while this one sleeps.
function loadOfOthers() {
  const sums = () => os.cpus().reduce(({ idle, all }, { times }) => ({
    idle: idle + times.idle,
    all: all + Object.values(times).reduce((sum, time) => sum + time, 0),
  }), { idle: 0, all: 0 });
  const before = sums();
  Atomics.wait(new Int32Array(new SharedArrayBuffer(4)), 0, 0, 1000);
  const after = sums();
  return 1 - (after.idle - before.idle) / (after.all - before.all);
}

function printMachine(busy) {
  const runtime = path.join(work, 'node_modules', 'onnxruntime-node', 'package.json');
  console.log(`Machine: ${os.cpus()[0].model.trim()}, ${os.cpus().length} processors, `
              + `${Math.round(100 * busy)} % busy with other programs before the first turn.`);
  console.log(`ONNX Runtime ${JSON.parse(fs.readFileSync(runtime, 'utf8')).version} `
              + `in node ${process.version}; ${rounds} turns of ${seconds} s each.\n`);
}

function printTable() {
  const width = Math.max(...turns.map((turn) => turn.label.length));
  const line = (engine, setup, threads, minimum, middle) => console.log(
    `| ${engine.padEnd(12)} | ${setup.padEnd(width)} | ${threads.padStart(7)} `
    + `| ${minimum.padStart(10)} | ${middle.padStart(9)} |`);
  line('engine', 'setup', 'threads', 'minimum ms', 'median ms');
  console.log(`|${'-'.repeat(14)}|${'-'.repeat(width + 2)}|--------:|-----------:|----------:|`);
  for (const turn of turns) {
    line(turn.engine, turn.label, String(turn.threads), turn.minimum.toFixed(2),
         turn.median.toFixed(2));
  }
  console.log();
}

// Against the fastest setup of ONNX Runtime with the same number of threads.
function printRatios() {
  for (const our of ours) {
    const rivals = theirs.filter((turn) => turn.threads === our.threads);
    const ratio = (figure) => our[figure] / Math.min(...rivals.map((turn) => turn[figure]));
    const goal = GOALS[our.threads];
    const holds = ratio('minimum') <= goal && ratio('median') <= goal;
    console.log(`ours / ONNX Runtime, ${our.threads} thread${our.threads > 1 ? 's' : ''}: `
                + `${ratio('minimum').toFixed(2)} by minima, ${ratio('median').toFixed(2)} by `
                + `medians; goal ${goal.toFixed(2)}: ${holds ? 'holds' : 'DOES NOT HOLD'}`);
  }
}

// Compares every setup of ONNX Runtime with this library, and this library's results with one and
// with two threads, which must have the same bits.
function numbersAgree() {
  const [one, two] = ours.map((turn) => readFloats(turn.outputs));
  const worst = Math.max(...theirs.map((turn) => difference(one, readFloats(turn.outputs))));
  const close = worst <= LARGEST_DIFFERENCE;
  const same = Buffer.compare(Buffer.from(one.buffer), Buffer.from(two.buffer)) === 0;
  console.log(`largest difference of the nets' outputs, relative to the largest output of the same `
              + `row: ${worst.toExponential(1)}; `
              + `at most ${LARGEST_DIFFERENCE}: ${close ? 'holds' : 'DOES NOT HOLD'}`);
  if (!same) console.log('OUR OUTPUTS WITH 1 AND WITH 2 THREADS DIFFER');
  return close && same;
}

const busy = loadOfOthers();
takeTurns();
printMachine(busy);
printTable();
printRatios();
if (!numbersAgree()) process.exit(1);

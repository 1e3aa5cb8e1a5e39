// The setups of ONNX Runtime that are compared. Each opens its sessions and resolves to a function
// that runs all nets once.
'use strict';

const path = require('path');
const { Worker } = require('worker_threads');
const { openSession } = require('./onnx_session.js');

const oneThread = { intraOpNumThreads: 1, interOpNumThreads: 1 };
const twoThreads = { intraOpNumThreads: 2, interOpNumThreads: 1 };

// Indices of the array that the two threads share: the number of rounds requested, and the number
// that the second thread has completed. FAILED ends all waiting.
const ASKED = 0;
const DONE = 1;
const FAILED = 0x7fffffff;

// Both engines' own threads also spin for a while: waking a thread takes a good part of a net's time.
function spinUntil(shared, index, round) {
  while (Atomics.load(shared, index) < round);
}

// Half of the nets on this thread, the other half on a second one.
async function twoHalves(work, options, outputs) {
  const run = await openSession(work, 'half1.onnx', options, outputs);
  const shared = new Int32Array(new SharedArrayBuffer(8));
  const beside = new Worker(path.join(__dirname, 'onnx_beside.js'), {
    workerData: { work, model: 'half2.onnx', options, outputs, shared },
  });
  await new Promise((resolve, reject) => {
    beside.once('message', resolve);
    beside.once('error', reject);
  });
  beside.unref();
  let round = 0;
  return async () => {
    ++round;
    Atomics.store(shared, ASKED, round);
    await run();
    spinUntil(shared, DONE, round);
    if (Atomics.load(shared, DONE) === FAILED) throw new Error('the second thread failed');
  };
}

const setups = {
  'graph-1': {
    threads: 1,
    label: 'all nets in one session',
    open: (work, outputs) => openSession(work, 'all.onnx', oneThread, outputs),
  },
  'graph-2': {
    threads: 2,
    label: 'all nets in one session, 2 threads within a node',
    open: (work, outputs) => openSession(work, 'all.onnx', twoThreads, outputs),
  },
  'halves-2': {
    threads: 2,
    label: 'two sessions, each with half of the nets',
    open: (work, outputs) => twoHalves(work, oneThread, outputs),
  },
};

module.exports = { ASKED, DONE, FAILED, setups, spinUntil };

// The ways to run the 25 nets in ONNX Runtime that are tried. Each opens its sessions and resolves
// to a function that runs all nets once.
'use strict';

const path = require('path');
const { Worker } = require('worker_threads');
const { NET_COUNT } = require('./model_folder.js');
const { openSession } = require('./onnx_session.js');

const oneThread = { intraOpNumThreads: 1, interOpNumThreads: 1 };
const twoWithin = { intraOpNumThreads: 2, interOpNumThreads: 1 };
// Each session has a thread pool of its own. Twenty-five pools whose threads spin while they wait
// would keep both cores from the one that has work.
const twoWithinWaiting = {
  ...twoWithin,
  extra: { session: { intra_op: { allow_spinning: '0' } } },
};
// Two nodes at a time that don't wait for each other, so mostly two nets.
const twoAcross = { intraOpNumThreads: 1, interOpNumThreads: 2, executionMode: 'parallel' };

async function sessionForEachNet(work, options, outputs) {
  const runs = [];
  for (let n = 1; n <= NET_COUNT; ++n) {
    runs.push(await openSession(work, `net${n}.onnx`, options, outputs));
  }
  return async () => {
    for (const run of runs) await run();
  };
}

// Places of the array that the two threads share: the rounds that were asked for, and those that
// the second thread has done. Its failure ends all waiting.
const ASKED = 0;
const DONE = 1;
const FAILED = 0x7fffffff;

// Spinning, as the threads of either engine do for a while: waking one would cost a good part of a
// net's time.
function spinUntil(shared, place, round) {
  while (Atomics.load(shared, place) < round);
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

const forms = {
  'sessions-1': {
    threads: 1,
    label: 'a session for each net, one after the other',
    open: (work, outputs) => sessionForEachNet(work, oneThread, outputs),
  },
  'graph-1': {
    threads: 1,
    label: 'all nets in one session',
    open: (work, outputs) => openSession(work, 'all.onnx', oneThread, outputs),
  },
  'sessions-2': {
    threads: 2,
    label: 'a session for each net, 2 threads within a node',
    open: (work, outputs) => sessionForEachNet(work, twoWithinWaiting, outputs),
  },
  'graph-2': {
    threads: 2,
    label: 'all nets in one session, 2 threads within a node',
    open: (work, outputs) => openSession(work, 'all.onnx', twoWithin, outputs),
  },
  'across-2': {
    threads: 2,
    label: 'all nets in one session, 2 nodes at a time',
    open: (work, outputs) => openSession(work, 'all.onnx', twoAcross, outputs),
  },
  'halves-2': {
    threads: 2,
    label: 'two sessions side by side, each with half of the nets',
    open: (work, outputs) => twoHalves(work, oneThread, outputs),
  },
};

module.exports = { ASKED, DONE, FAILED, forms, spinUntil };

// The second thread of the setup with two sessions (see onnx_setups.js).
'use strict';

const { parentPort, workerData } = require('worker_threads');
const { ASKED, DONE, FAILED, spinUntil } = require('./onnx_setups.js');
const { openSession } = require('./onnx_session.js');

async function serve({ work, model, options, outputs, shared }) {
  const run = await openSession(work, model, options, outputs);
  parentPort.postMessage('open');
  try {
    // Until the process exits.
    for (let round = 1; ; ++round) {
      spinUntil(shared, ASKED, round);
      await run();
      Atomics.store(shared, DONE, round);
    }
  } catch (error) {
    console.error(error);
    Atomics.store(shared, DONE, FAILED);
  }
}

serve(workerData);

// onnx_stage.js SETUP WORK SECONDS OUTPUTS
//
// One turn of ONNX Runtime. Runs the nets in the given setup for about SECONDS seconds, prints the
// time per run as a line of JSON, and writes the nets' outputs in the last run to the file OUTPUTS.
'use strict';

const fs = require('fs');
const { setups } = require('./onnx_setups.js');
const { OUTPUT_FLOATS } = require('./onnx_session.js');

const WARM_UP_RUNS = 5;
const FEWEST_RUNS = 5;

const milliseconds = () => Number(process.hrtime.bigint()) / 1e6;

async function timedRuns(run, seconds) {
  const times = [];
  const end = milliseconds() + 1000 * seconds;
  while (times.length < FEWEST_RUNS || milliseconds() < end) {
    const start = milliseconds();
    await run();
    times.push(milliseconds() - start);
  }
  return times.sort((a, b) => a - b);
}

async function main([setup, work, seconds, outputFile]) {
  // Shared, because two threads write to it in one of the setups.
  const outputs = new Float32Array(new SharedArrayBuffer(4 * OUTPUT_FLOATS));
  const run = await setups[setup].open(work, outputs);
  for (let i = 0; i < WARM_UP_RUNS; ++i) await run();
  const times = await timedRuns(run, Number(seconds));
  fs.writeFileSync(outputFile, Buffer.from(outputs.buffer));
  const middle = times[Math.floor(times.length / 2)];
  console.log(JSON.stringify({ minimum: times[0], median: middle, runs: times.length }));
  // The second thread and the runtime's thread pools would keep the process alive.
  process.exit(0);
}

main(process.argv.slice(2)).catch((error) => {
  console.error(error);
  process.exit(1);
});

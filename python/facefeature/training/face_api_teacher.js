// node face_api_teacher.js FOLDER
//
// Describes faces with the face recognition network of the npm package @vladmandic/face-api.
// FOLDER/node_modules contains it, @tensorflow/tfjs and @tensorflow/tfjs-backend-wasm.
//
// Reads faces of 150 x 150 pixels from standard input, 3 bytes per pixel, red first, one after the
// other. Writes a descriptor of 128 little-endian floats per face to standard output, in the same
// order, as soon as it is computed. Exits at the end of standard input.
'use strict';

const path = require('path');

const SIDE = 150;
const FACE_BYTES = SIDE * SIDE * 3;
const BATCH = 8; // faces per run of the network

async function loadNetwork(folder) {
  const resolve = (name) => require.resolve(name, { paths: [folder] });
  const tf = require(resolve('@tensorflow/tfjs'));
  const wasm = require(resolve('@tensorflow/tfjs-backend-wasm'));
  wasm.setWasmPaths(path.dirname(resolve('@tensorflow/tfjs-backend-wasm')) + path.sep);
  await tf.setBackend('wasm');
  await tf.ready();
  const faceApi = require(resolve('@vladmandic/face-api/dist/face-api.node-wasm.js'));
  const network = faceApi.nets.faceRecognitionNet;
  const models = path.join(path.dirname(resolve('@vladmandic/face-api/package.json')), 'model');
  await network.loadFromDisk(models);
  return { tf, network };
}

async function describe({ tf, network }, faces) {
  const tensors = faces.map((face) => tf.tensor3d(Float32Array.from(face), [SIDE, SIDE, 3]));
  const answer = await network.computeFaceDescriptor(tensors);
  tensors.forEach((tensor) => tensor.dispose());
  return Array.isArray(answer) ? answer : [answer];
}

function write(descriptors) {
  const bytes = Buffer.concat(descriptors.map((d) => Buffer.from(Float32Array.from(d).buffer)));
  return new Promise((resolve) => process.stdout.write(bytes, resolve));
}

async function main() {
  const loaded = await loadNetwork(path.resolve(process.argv[2]));
  let pending = Buffer.alloc(0);
  for await (const bytes of process.stdin) {
    pending = pending.length ? Buffer.concat([pending, bytes]) : bytes;
    while (pending.length >= FACE_BYTES) {
      const count = Math.min(BATCH, Math.floor(pending.length / FACE_BYTES));
      const faces = [];
      for (let i = 0; i < count; ++i) {
        faces.push(pending.subarray(i * FACE_BYTES, (i + 1) * FACE_BYTES));
      }
      await write(await describe(loaded, faces));
      pending = pending.subarray(count * FACE_BYTES);
    }
  }
}

main().catch((error) => {
  console.error(`face_api_teacher.js: ${error.message}`);
  process.exitCode = 1;
});

// Galleries, through the program.
'use strict';
const {execFileSync} = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const {FEATURE_FLOATS} = require('./library.js');

const MAX_OUTPUT = 1 << 30;

function programName() {
  return process.env.FACEFEATURE_PROGRAM || 'facefeature';
}

const NONE_REACHES_THE_THRESHOLD = 1;

// What the program prints. Throws an Error with its message.
function runProgram(...words) {
  try {
    return execFileSync(programName(), words,
                        {encoding: 'utf8', maxBuffer: MAX_OUTPUT, stdio: ['ignore', 'pipe', 'pipe']});
  } catch (error) {
    if (error.status === NONE_REACHES_THE_THRESHOLD && error.stdout) return error.stdout;
    throw new Error(error.stderr ? error.stderr.trim() : error.message);
  }
}

function withFolder(work) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'facefeature-'));
  try {
    return work(folder);
  } finally {
    fs.rmSync(folder, {recursive: true, force: true});
  }
}

function featureBytes(feature) {
  if (!(feature instanceof Float32Array) || feature.length !== FEATURE_FLOATS) {
    throw new TypeError(`a feature is a Float32Array of ${FEATURE_FLOATS} floats`);
  }
  return Buffer.from(feature.buffer, feature.byteOffset, feature.byteLength);
}

class Gallery {
  constructor(file) {
    this.file = file;
  }

  ids() {
    const text = runProgram('gallery', 'info', '--ids', this.file);
    return text.split('\n').slice(0, -1);
  }

  features() {
    return withFolder((folder) => {
      const file = path.join(folder, 'rows.npy');
      runProgram('gallery', 'export', this.file, '-o', file);
      const bytes = fs.readFileSync(file);
      // A version 1 file: a header of this length, then the rows.
      const start = 10 + bytes.readUInt16LE(8);
      const ids = fs.readFileSync(path.join(folder, 'rows.ids.txt'), 'utf8').split('\n').slice(0, -1);
      const rowBytes = 4 * FEATURE_FLOATS;
      return new Map(ids.map((id, row) => {
        const at = start + row * rowBytes;
        return [id, new Float32Array(new Uint8Array(bytes.subarray(at, at + rowBytes)).buffer)];
      }));
    });
  }

  add(id, feature, {replace = false} = {}) {
    withFolder((folder) => {
      const file = path.join(folder, 'one.feature');
      fs.writeFileSync(file, featureBytes(feature));
      runProgram('gallery', 'add', this.file, file, '--id', id, ...(replace ? ['--replace'] : []));
    });
  }

  remove(...ids) {
    runProgram('gallery', 'remove', this.file, ...ids);
  }

  search(features, {top = 10, threshold} = {}) {
    const probes = Array.isArray(features) ? features : [features];
    return withFolder((folder) => {
      const files = probes.map((feature, k) => {
        const file = path.join(folder, `${k}.feature`);
        fs.writeFileSync(file, featureBytes(feature));
        return file;
      });
      const least = threshold === undefined ? [] : ['--threshold', threshold];
      const text = runProgram('search', this.file, ...files, '--top', top, '--format', 'json',
                              ...least);
      const answer = JSON.parse(text).probes.map(({matches}) => matches);
      return Array.isArray(features) ? answer : answer[0];
    });
  }
}

module.exports = {Gallery, runProgram};

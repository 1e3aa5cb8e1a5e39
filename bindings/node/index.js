// Features of faces and their scores. index.d.ts is the contract.
'use strict';
const fs = require('node:fs');
const os = require('node:os');
const {promisify} = require('node:util');
const {FEATURE_FLOATS, createEngine, theLibrary} = require('./library.js');
const {landmarkRecord} = require('./landmarks.js');
const {Gallery, runProgram} = require('./gallery.js');

// The library shares numbers between engines: all have the same model, and none is created or
// destroyed during an extraction.
const engines = {count: 0, model: '', running: 0};

function requireNoneRunning() {
  if (engines.running > 0) throw new Error('an extraction of this process is running');
}

// {pixels, width, height, stride} in the library's order of channels.
function bgrOf({data, width, height, channels}) {
  if (!['BGR', 'RGB', 'RGBA', 'BGRA'].includes(channels)) {
    throw new TypeError('channels is "BGR", "RGB", "BGRA" or "RGBA"');
  }
  const step = channels.length;
  if (!Number.isInteger(width) || !Number.isInteger(height) || width < 2 || height < 2 ||
      !(data instanceof Uint8Array) || data.length !== step * width * height) {
    throw new RangeError('data is not width x height pixels of 8 bits a channel, 2 x 2 or more');
  }
  if (channels === 'BGR') return {pixels: data, width, height, stride: 3 * width};
  const [blue, red] = channels[0] === 'B' ? [0, 2] : [2, 0];
  const pixels = new Uint8Array(3 * width * height);
  for (let from = 0, to = 0; from < data.length; from += step, to += 3) {
    pixels[to] = data[from + blue];
    pixels[to + 1] = data[from + 1];
    pixels[to + 2] = data[from + red];
  }
  return {pixels, width, height, stride: 3 * width};
}

function checked(feature) {
  if (Number.isNaN(feature[FEATURE_FLOATS - 1])) {
    throw new Error('the feature is not a number. Check the model with "facefeature model check".');
  }
  return feature;
}

class Engine {
  #library;
  #handle;
  #busy = false;

  constructor({model, library} = {}) {
    requireNoneRunning();
    if (!model) throw new TypeError('model is the folder of a model');
    const folder = fs.realpathSync(model);
    if (engines.count > 0 && folder !== engines.model) {
      throw new Error(`an engine of another model, ${engines.model}, is open in this process`);
    }
    // The library ends the process if a file of weights is missing.
    runProgram('model', 'check', folder);
    this.#library = theLibrary(library);
    this.#handle = createEngine(this.#library, folder);
    engines.count += 1;
    engines.model = folder;
  }

  extract(image, landmarks) {
    const [words, feature] = this.#arguments(image, landmarks);
    this.#library.extract(...words);
    return checked(feature);
  }

  async extractAsync(image, landmarks) {
    const [words, feature] = this.#arguments(image, landmarks);
    this.#busy = true;
    engines.running += 1;
    try {
      await promisify(this.#library.extract.async)(...words);
    } finally {
      this.#busy = false;
      engines.running -= 1;
    }
    return checked(feature);
  }

  close() {
    if (this.#handle === null) return;
    requireNoneRunning();
    this.#library.destroy(this.#handle);
    this.#handle = null;
    engines.count -= 1;
  }

  #arguments(image, landmarks) {
    if (this.#handle === null) throw new Error('the engine is closed');
    if (this.#busy) throw new Error('the engine extracts another face');
    const {pixels, width, height, stride} = bgrOf(image);
    const feature = new Float32Array(FEATURE_FLOATS);
    const record = landmarkRecord(landmarks);
    return [[this.#handle, pixels, width, height, stride, record, feature], feature];
  }
}

async function extractMany(faces, {model, library, engines: count = os.cpus().length} = {}) {
  const all = [];
  const features = new Array(faces.length);
  let next = 0;
  const work = async (engine) => {
    while (next < faces.length) {
      const k = next++;
      features[k] = await engine.extractAsync(faces[k].image, faces[k].landmarks);
    }
  };
  try {
    for (let k = 0; k < Math.min(count, faces.length); ++k) all.push(new Engine({model, library}));
    const results = await Promise.allSettled(all.map(work));
    const failed = results.find(({status}) => status === 'rejected');
    if (failed) throw failed.reason;
  } finally {
    for (const engine of all) engine.close();
  }
  return features;
}

function compare(a, b) {
  for (const feature of [a, b]) {
    if (!(feature instanceof Float32Array) || feature.length !== FEATURE_FLOATS) {
      throw new TypeError(`a feature is a Float32Array of ${FEATURE_FLOATS} floats`);
    }
  }
  return theLibrary().compare(a, b);
}

module.exports = {Engine, FEATURE_FLOATS, Gallery, compare, extractMany};

// Loads the shared library, and makes it read the model that an engine names.
//
// The library determines the temporary folder once, while it is loaded, and reads its model there
// under a fixed name. So TMPDIR is a private folder during loading, and while an engine is created,
// that folder has a link of the fixed name to the model.
'use strict';
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const koffi = require('koffi');

const MODEL_NAME = '~kwplugintmp~';
const FEATURE_FLOATS = 502;

let library = null;

function load(file) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'facefeature-'));
  process.on('exit', () => fs.rmSync(folder, {recursive: true, force: true}));
  const before = process.env.TMPDIR;
  process.env.TMPDIR = folder;
  let module;
  try {
    module = koffi.load(file);
  } finally {
    if (before === undefined) delete process.env.TMPDIR;
    else process.env.TMPDIR = before;
  }
  return {
    file,
    folder,
    create: module.func('void* CreateFeatureEngine()'),
    extract: module.func('void ExtractFeature(void* engine, const uint8_t* pixels, int32_t width, ' +
                         'int32_t height, int32_t stride, const void* landmarks, ' +
                         '_Out_ float* feature)'),
    compare: module.func('float CompareFeatures(const float* a, const float* b)'),
    destroy: module.func('void DestroyFeatureEngine(void* engine)'),
  };
}

// The library of this process. The first call decides which file it is: named, else
// FACEFEATURE_LIBRARY, else where the system's loader finds it.
function theLibrary(named) {
  const file = named || process.env.FACEFEATURE_LIBRARY || 'libfacefeature.so.1';
  if (library === null) library = load(file);
  else if (named && named !== library.file) {
    throw new Error(`${named}: this process has loaded ${library.file}`);
  }
  return library;
}

// An engine with this model. The link exists for the duration of the creation only.
function createEngine(loaded, model) {
  const link = path.join(loaded.folder, MODEL_NAME);
  fs.symlinkSync(fs.realpathSync(model), link);
  try {
    const engine = loaded.create();
    if (engine === null) throw new Error(`${model}: the library could not open the model`);
    return engine;
  } finally {
    fs.unlinkSync(link);
  }
}

module.exports = {FEATURE_FLOATS, createEngine, theLibrary};

// Run by tests/bindings/node, which sets the environment: FACEFEATURE_LIBRARY, FACEFEATURE_PROGRAM,
// FACEFEATURE_TEST_MODEL and FACEFEATURE_LANDMARKS.
'use strict';
const assert = require('node:assert');
const {execFileSync} = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');
const {Engine, FEATURE_FLOATS, Gallery, compare, extractMany} = require('..');

const model = process.env.FACEFEATURE_TEST_MODEL;
const landmarks = process.env.FACEFEATURE_LANDMARKS;
const [width, height] = [512, 600];  // of the picture that those landmarks are for
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'facefeature-test-'));
test.after(() => fs.rmSync(folder, {recursive: true}));

function facefeature(...words) {
  return execFileSync(process.env.FACEFEATURE_PROGRAM, words, {encoding: 'utf8', stdio: 'pipe'});
}

// Noise over slopes.
function picture(seed) {
  const data = new Uint8Array(3 * width * height);
  let state = seed >>> 0;
  for (let at = 0; at < data.length; ++at) {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    data[at] = ((at / (3 * width)) / 5 + (at % (3 * width)) / 15 + (state >>> 27)) & 255;
  }
  return {data, width, height, channels: 'RGB'};
}

// What the program makes of the same picture.
function featureOfProgram(image) {
  const photo = path.join(folder, 'photo.ppm');
  const feature = path.join(folder, 'feature');
  const head = Buffer.from(`P6\n${width} ${height}\n255\n`);
  fs.writeFileSync(photo, Buffer.concat([head, image.data]));
  facefeature('extract', photo, landmarks, '-o', feature, '--model', model);
  return fs.readFileSync(feature);
}

const bytesOf = (feature) => Buffer.from(feature.buffer, feature.byteOffset, feature.byteLength);

test('extract and compare give the bits of the program', () => {
  const engine = new Engine({model});
  const features = [1, 2].map((seed) => engine.extract(picture(seed), landmarks));
  features.forEach((feature, k) => {
    assert.deepStrictEqual(bytesOf(feature), featureOfProgram(picture(k + 1)));
    fs.writeFileSync(path.join(folder, `${k}.feature`), bytesOf(feature));
  });
  const text = facefeature('compare', path.join(folder, '0.feature'), path.join(folder, '1.feature'));
  assert.strictEqual(Math.fround(Number(text)), compare(features[0], features[1]));
  engine.close();
  assert.throws(() => engine.extract(picture(1), landmarks), /closed/);
});

test('the order of the channels changes nothing', () => {
  const engine = new Engine({model});
  const rgb = picture(3);
  const wanted = bytesOf(engine.extract(rgb, landmarks));
  for (const channels of ['BGR', 'BGRA', 'RGBA']) {
    const step = channels.length;
    const data = new Uint8Array(step * width * height).fill(77);
    for (let pixel = 0; pixel < width * height; ++pixel) {
      ['R', 'G', 'B'].forEach((channel, k) => {
        data[step * pixel + channels.indexOf(channel)] = rgb.data[3 * pixel + k];
      });
    }
    const feature = engine.extract({data, width, height, channels}, landmarks);
    assert.deepStrictEqual(bytesOf(feature), wanted, channels);
  }
  engine.close();
});

test('extractMany keeps the order and gives the same bits', async () => {
  const faces = [4, 5, 6, 7, 8].map((seed) => ({image: picture(seed), landmarks}));
  const features = await extractMany(faces, {model, engines: 2});
  const engine = new Engine({model});
  features.forEach((feature, k) => {
    assert.deepStrictEqual(feature, engine.extract(faces[k].image, landmarks));
  });
  engine.close();
  await assert.rejects(extractMany([...faces, {image: faces[0].image, landmarks: []}],
                                   {model, engines: 2}), /landmarks/);
});

test('an engine extracts one face at a time and is not closed meanwhile', async () => {
  const engine = new Engine({model});
  const running = engine.extractAsync(picture(1), landmarks);
  assert.throws(() => engine.extract(picture(1), landmarks), /another face/);
  assert.throws(() => engine.close(), /running/);
  assert.throws(() => new Engine({model}), /running/);
  await running;
  engine.close();
});

test('input that the library would reject is an error', () => {
  const engine = new Engine({model});
  const image = picture(1);
  const points = JSON.parse(fs.readFileSync(landmarks, 'utf8')).landmarks;
  const changed = (change) => points.map((point, k) => (k === 0 ? {...point, ...change} : point));
  for (const wrong of [{...image, width: 1}, {...image, data: image.data.subarray(1)},
                       {...image, channels: 'GRAY'}, {...image, width: width + 0.5}]) {
    assert.throws(() => engine.extract(wrong, landmarks));
  }
  for (const wrong of [[], points.slice(3), changed({id: 318}), changed({id: -1}), changed({x: NaN}),
                       changed({y: Infinity}), {}, null]) {
    assert.throws(() => engine.extract(image, wrong));
  }
  assert.throws(() => compare(new Float32Array(3), new Float32Array(FEATURE_FLOATS)));
  engine.close();
});

test('an incomplete model is an error', () => {
  const empty = fs.mkdtempSync(path.join(folder, 'model-'));
  assert.throws(() => new Engine({model: empty}), /missing|can't/);
  assert.throws(() => new Engine({model: path.join(folder, 'nothing')}));
});

test('galleries take, give and find features', () => {
  const engine = new Engine({model});
  const features = [1, 2, 3].map((seed) => engine.extract(picture(seed), landmarks));
  engine.close();
  const gallery = new Gallery(path.join(folder, 'faces.gallery'));
  featureOfProgram(picture(1));  // leaves its photograph
  facefeature('gallery', 'add', gallery.file, path.join(folder, 'photo.ppm'), '--landmarks', landmarks,
              '--id', 'face 0', '--model', model);
  [1, 2].forEach((k) => gallery.add(`face ${k}`, features[k]));
  assert.deepStrictEqual(gallery.ids(), ['face 0', 'face 1', 'face 2']);
  assert.deepStrictEqual([...gallery.features().values()], features);
  const matches = gallery.search(features[1], {top: 2});
  assert.deepStrictEqual([matches.length, matches[0].rank, matches[0].id], [2, 1, 'face 1']);
  assert.strictEqual(Math.fround(matches[1].score),
                     compare(features[1], gallery.features().get(matches[1].id)));
  assert.deepStrictEqual(gallery.search([features[1]], {threshold: 1000}), [[]]);
  assert.throws(() => gallery.add('face 0', features[0]), /face 0/);
  gallery.remove('face 0');
  assert.deepStrictEqual(gallery.ids(), ['face 1', 'face 2']);
  assert.throws(() => new Gallery(path.join(folder, 'none')).ids());
});

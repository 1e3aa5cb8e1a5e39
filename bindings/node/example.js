#!/usr/bin/env node
// The score of two faces in PPM files: example.js MODEL PHOTO LANDMARKS PHOTO LANDMARKS
'use strict';
const fs = require('node:fs');
const {Engine, compare} = require('.');

function ppm(file) {
  const bytes = fs.readFileSync(file);
  const [head, width, height] = /^P6\s+(\d+)\s+(\d+)\s+255\s/.exec(bytes.toString('latin1', 0, 99));
  return {data: bytes.subarray(head.length), width: +width, height: +height, channels: 'RGB'};
}

const [model, ...files] = process.argv.slice(2);
const engine = new Engine({model});
console.log(compare(engine.extract(ppm(files[0]), files[1]), engine.extract(ppm(files[2]), files[3])));
engine.close();

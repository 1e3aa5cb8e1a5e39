// The landmarks of a face as the record that the library takes.
'use strict';
const fs = require('node:fs');

const LAST_ID = 317;
const ALIGNED = 25;
const SIDES_OF_HEAD = new Set([240, 241, 315, 316]);

function pointsOf(landmarks) {
  if (typeof landmarks === 'string') landmarks = JSON.parse(fs.readFileSync(landmarks, 'utf8'));
  const points = Array.isArray(landmarks) ? landmarks : landmarks && landmarks.landmarks;
  if (!Array.isArray(points)) throw new TypeError('landmarks are not a list, nor have one');
  return points;
}

// landmarks: a list of {id, x, y}, an object with such a list "landmarks", or the path of a landmark
// file. Throws if the library would reject them.
function landmarkRecord(landmarks) {
  const points = pointsOf(landmarks);
  const aligned = points.filter((point) => !SIDES_OF_HEAD.has(point.id)).length;
  if (aligned !== ALIGNED) {
    throw new RangeError(`${aligned} landmarks besides 240, 241, 315 and 316, not ${ALIGNED}`);
  }
  const record = Buffer.alloc(8 + 12 * points.length);
  record.writeInt32LE(points.length, 0);
  points.forEach(({id, x, y}, k) => {
    if (!Number.isInteger(id) || id < 0 || id > LAST_ID) {
      throw new RangeError(`the id ${id} is not 0 to ${LAST_ID}`);
    }
    if (!Number.isFinite(x) || !Number.isFinite(y)) {
      throw new RangeError(`the landmark ${id} has no finite coordinates`);
    }
    record.writeInt32LE(id, 8 + 12 * k);
    record.writeFloatLE(x, 12 + 12 * k);
    record.writeFloatLE(y, 16 + 12 * k);
  });
  return record;
}

module.exports = {landmarkRecord};

// The parts of the protocol buffer encoding that an ONNX file needs. A message is the concatenation
// of its fields; a field is a tag followed by a varint, or by a byte count and the bytes.
'use strict';

const VARINT = 0;
const COUNTED = 2;

function varint(value) {
  const bytes = [];
  let rest = value;
  while (rest >= 128) {
    bytes.push((rest % 128) | 128);
    rest = Math.floor(rest / 128);
  }
  bytes.push(rest);
  return Buffer.from(bytes);
}

const tag = (field, kind) => varint(field * 8 + kind);

// A non-negative integer.
function integer(field, value) {
  return Buffer.concat([tag(field, VARINT), varint(value)]);
}

// A string, raw bytes or a message.
function bytes(field, value) {
  const content = Buffer.isBuffer(value) ? value : Buffer.from(value);
  return Buffer.concat([tag(field, COUNTED), varint(content.length), content]);
}

function message(field, parts) {
  return bytes(field, Buffer.concat(parts));
}

module.exports = { bytes, integer, message };

// Writes one or several nets as an ONNX model with a single graph.
'use strict';

const { bytes, integer, message } = require('./protobuf.js');

const IR_VERSION = 8;
const OPERATOR_SET = 17;
const ROWS = 2; // the patch and its mirror image

// Field numbers of onnx.proto, and the values of its enumerations that are used here.
const Model = { irVersion: 1, producer: 2, graph: 7, operatorSet: 8 };
const OperatorSet = { version: 2 };
const Graph = { node: 1, name: 2, initializer: 5, input: 11, output: 12 };
const Node = { input: 1, output: 2, name: 3, type: 4, attribute: 5 };
const Attribute = { name: 1, integer: 3, integers: 8, type: 20 };
const Tensor = { dims: 1, dataType: 2, name: 8, rawData: 9 };
const ValueInfo = { name: 1, type: 2 };
const Type = { tensor: 1 };
const TensorType = { element: 1, shape: 2 };
const Shape = { dim: 1 };
const Dim = { value: 1 };
const FLOAT = 1;
const INTEGER_ATTRIBUTE = 2;
const INTEGERS_ATTRIBUTE = 7;

function attribute(name, value) {
  const content = Array.isArray(value)
    ? [...value.map((v) => integer(Attribute.integers, v)),
       integer(Attribute.type, INTEGERS_ATTRIBUTE)]
    : [integer(Attribute.integer, value), integer(Attribute.type, INTEGER_ATTRIBUTE)];
  return message(Node.attribute, [bytes(Attribute.name, name), ...content]);
}

// A node, named after its output.
function node(type, inputs, output, attributes = {}) {
  return message(Graph.node, [
    ...inputs.map((input) => bytes(Node.input, input)),
    bytes(Node.output, output),
    bytes(Node.name, output),
    bytes(Node.type, type),
    ...Object.entries(attributes).map(([name, value]) => attribute(name, value)),
  ]);
}

// Raw data is little-endian, like every machine for which ONNX Runtime has a package.
function initializer(name, dims, values) {
  return message(Graph.initializer, [
    ...dims.map((dim) => integer(Tensor.dims, dim)),
    integer(Tensor.dataType, FLOAT),
    bytes(Tensor.name, name),
    bytes(Tensor.rawData, Buffer.from(values.buffer, values.byteOffset, values.byteLength)),
  ]);
}

function valueInfo(field, name, dims) {
  const shape = dims.map((dim) => message(Shape.dim, [integer(Dim.value, dim)]));
  const tensor = [integer(TensorType.element, FLOAT), message(TensorType.shape, shape)];
  return message(field, [bytes(ValueInfo.name, name),
                         message(ValueInfo.type, [message(Type.tensor, tensor)])]);
}

// A model file stores a filter in a column, ONNX in a row. Within a filter the order is the same:
// channels, then rows. Neither flips the filter.
function transposed(matrix) {
  const { rows, cols, values } = matrix;
  const result = new Float32Array(values.length);
  for (let r = 0; r < rows; ++r) {
    for (let c = 0; c < cols; ++c) result[c * rows + r] = values[r * cols + c];
  }
  return result;
}

// Convolution and rectifier. Returns the nodes and the shape of the output.
function convolution(prefix, stage, source, shape) {
  const { weights, biases } = stage;
  const size = Math.sqrt(weights.rows / shape.channels);
  const output = { channels: weights.cols, side: shape.side - size + 1 };
  const parts = [
    initializer(`${prefix}_w`, [weights.cols, shape.channels, size, size], transposed(weights)),
    initializer(`${prefix}_b`, [biases.rows], biases.values),
    node('Conv', [source, `${prefix}_w`, `${prefix}_b`], `${prefix}_sum`,
         { kernel_shape: [size, size], strides: [1, 1], pads: [0, 0, 0, 0] }),
    node('Relu', [`${prefix}_sum`], prefix),
  ];
  return { parts, output };
}

// All sides that these nets pool are even, so it does not matter how ONNX rounds.
function pooling(name, source, shape) {
  if (shape.side % 2 !== 0) throw new Error(`${name} would have to pool an odd side`);
  const parts = [node('MaxPool', [source], name, { kernel_shape: [2, 2], strides: [2, 2] })];
  return { parts, output: { channels: shape.channels, side: shape.side / 2 } };
}

// The two products of fc; the second is added to the first. A single product of concatenated inputs
// and weights takes ONNX Runtime the same time.
function fullyConnected(prefix, net) {
  const [first, second] = net.fcWeights;
  return [
    initializer(`${prefix}_w`, [first.rows, first.cols], first.values),
    initializer(`${prefix}_v`, [second.rows, second.cols], second.values),
    initializer(`${prefix}_b`, [first.cols], net.fcBiases.values),
    node('Flatten', [`${net.name}_local4`], `${prefix}_first`, { axis: 1 }),
    node('Flatten', [`${net.name}_pool3`], `${prefix}_second`, { axis: 1 }),
    node('Gemm', [`${prefix}_first`, `${prefix}_w`, `${prefix}_b`], `${prefix}_sum`),
    node('Gemm', [`${prefix}_second`, `${prefix}_v`, `${prefix}_sum`], `${prefix}_output`),
  ];
}

const inputName = (net) => `${net.name}_data`;
const outputName = (net) => `${net.name}_fc_output`;

function partsOfNet(net) {
  const of = (name) => `${net.name}_${name}`;
  let shape = { channels: net.channels, side: net.side };
  const parts = [valueInfo(Graph.input, inputName(net),
                           [ROWS, shape.channels, shape.side, shape.side])];
  const add = (made) => {
    parts.push(...made.parts);
    shape = made.output;
  };
  add(convolution(of('conv1'), net.stages[0], inputName(net), shape));
  add(pooling(of('pool1'), of('conv1'), shape));
  add(convolution(of('conv2'), net.stages[1], of('pool1'), shape));
  add(pooling(of('pool2'), of('conv2'), shape));
  add(convolution(of('local3'), net.stages[2], of('pool2'), shape));
  add(pooling(of('pool3'), of('local3'), shape));
  add(convolution(of('local4'), net.stages[3], of('pool3'), shape));
  parts.push(...fullyConnected(of('fc'), net));
  parts.push(valueInfo(Graph.output, outputName(net), [ROWS, net.fcBiases.cols]));
  return parts;
}

// The bytes of a model with these nets, each with its own input and output.
function onnxModel(nets) {
  const graph = [bytes(Graph.name, 'nets'), ...nets.flatMap(partsOfNet)];
  return Buffer.concat([
    integer(Model.irVersion, IR_VERSION),
    bytes(Model.producer, 'facefeature bench/peers'),
    message(Model.graph, graph),
    message(Model.operatorSet, [integer(OperatorSet.version, OPERATOR_SET)]),
  ]);
}

module.exports = { ROWS, inputName, onnxModel, outputName };

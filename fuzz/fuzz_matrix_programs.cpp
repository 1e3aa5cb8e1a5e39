// Compares programs of operations on a few matrices with naive models
// (tests/support/reference_matrix.h). Input: any bytes. They choose the operations, the matrices,
// shapes, orders and values.
//
// After each operation the target must have the shape, order, ownership, buffer and values of its
// model, bit by bit (any NaN equals any other), and no float of any other storage may have changed.
// If an operation multiplies and adds, it may round once or twice. A product of matrices must be
// exact for small whole numbers, and within the error bound of its sums for others.
//
// Domain: sides from 0 to 40 and both orders. Matrices own their storage, or are views of separate
// floats or of each other; a view may be a target if its element count does not change. The
// operands share no storage with the target, except that the target may be the matrix itself where
// the operation allows it. Shapes of operands agree, but vectors may be too short. No view outlives
// its storage. Sizes that an operation promises to reject are tried, too.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "fuzz_input.h"
#include "kernels/multiply.h"
#include "matrix_operands.h"
#include "matrix_slots.h"
#include "support/bits.h"
#include "support/reference_arithmetic.h"

namespace {

using facefeature::ElementFunction;
using facefeature::Matrix;
using facefeature_fuzz::countOf;
using facefeature_fuzz::fail;
using facefeature_fuzz::Input;
using facefeature_fuzz::MatrixOperands;
using facefeature_fuzz::MatrixSlots;
using facefeature_fuzz::Model;
using facefeature_fuzz::require;
using facefeature_fuzz::Slot;

// An element function and the oracle's version of it.
struct FunctionPair {
  ElementFunction got;
  reference::Binary wanted;
};

FunctionPair anyFunction(Input& input) {
  static const FunctionPair kPairs[] = {{facefeature::elementMultiply, reference::product},
                                        {facefeature::elementAdd, reference::sum},
                                        {facefeature::elementMax, reference::greater}};
  return kPairs[input.integer(0, 2)];
}

void makeMatrix(MatrixOperands& operands) {
  Slot& slot = operands.anySlot();
  const int32_t rows = operands.anySide(), cols = operands.anySide();
  operands.becomeAny(slot, rows, cols);
}

void makeViewOfSlot(MatrixOperands& operands) {
  Slot &from = operands.anySlot(), &slot = operands.anySlot();
  if (from.storage == nullptr || &from == &slot || from.sharesWith(slot)) return;
  const int32_t count = static_cast<int32_t>(from.storage->wanted.size());
  const int32_t offset = operands.input.integer(0, count);
  const int32_t rows = std::min(operands.anySide(), count - offset);
  const int32_t cols =
      rows == 0 ? operands.anySide() : std::min(operands.anySide(), (count - offset) / rows);
  operands.slots.become(slot, MatrixSlots::viewOf(from.storage, rows, cols, operands.anyOrder(),
                                                  static_cast<size_t>(offset)));
}

void changeOrder(MatrixOperands& operands) {
  Slot& slot = operands.anySlot();
  slot.order = slot.got->order = operands.anyOrder();
}

void resize(MatrixOperands& operands) {
  Slot &like = operands.anySlot(), &target = operands.anySlot();
  const int32_t kind = operands.input.integer(0, 2);
  // The opposite order keeps the storage.
  const int32_t rows = kind == 0 ? operands.anySide() : kind == 1 ? target.cols : like.rows;
  const int32_t cols = kind == 0 ? operands.anySide() : kind == 1 ? target.rows : like.cols;
  if (!operands.slots.prepareTarget(target, {&like}, rows, cols)) return;
  if (kind == 2) {
    operands.slots.run(like, target,
                       {[](const Matrix& self, Matrix& to) { to.resizeLike(self); },
                        [](const Model& self, Model& to) { to.resize(self.rows, self.cols); }});
  } else {
    const auto operation = [=](const auto&, auto& to) { to.resize(rows, cols); };
    operands.slots.run(like, target, {operation, operation});
  }
}

// A failed allocation changes nothing.
void refuse(MatrixOperands& operands) {
  static const std::pair<int32_t, int32_t> kRefused[] = {
      {-1, 5}, {7, -3}, {40000, 40000}, {65536, 65536}, {2147483647, 2147483647}};
  const std::pair<int32_t, int32_t> sides = kRefused[operands.input.integer(0, 4)];
  Slot& slot = operands.anySlot();
  if (!slot.owns) return;
  try {
    slot.got->resize(sides.first, sides.second);
  } catch (const std::bad_alloc&) {
    return;
  }
  fail("refusal", 0);
}

std::string fileOf(int32_t rows, int32_t cols, const std::vector<float>& values) {
  std::string bytes(8 + 4 * values.size(), '\0');
  std::memcpy(&bytes[0], &rows, 4);
  std::memcpy(&bytes[4], &cols, 4);
  if (!values.empty()) std::memcpy(&bytes[8], values.data(), 4 * values.size());
  return bytes;
}

// A truncated file reads as zeros past its end, and as no elements without its whole header.
void readFile(MatrixOperands& operands) {
  Slot& slot = operands.anySlot();
  int32_t rows = operands.anySide(), cols = operands.anySide();
  std::string bytes = fileOf(rows, cols, operands.values(countOf(rows, cols)));
  if (operands.input.byte() % 4 == 0) {
    bytes.resize(
        static_cast<size_t>(operands.input.integer(0, static_cast<int32_t>(bytes.size()))));
  }
  std::istringstream stream(bytes);
  operands.slots.dropViewsOf(slot);
  slot.got->readFrom(stream);
  if (bytes.size() < 8) rows = cols = 0;
  bytes.resize(8 + 4 * countOf(rows, cols));
  std::vector<float> wanted(countOf(rows, cols));
  if (!wanted.empty()) std::memcpy(wanted.data(), &bytes[8], 4 * wanted.size());
  Model model(rows, cols, 111, wanted);
  model.replaced = true;
  slot.owns = true;
  MatrixSlots::settle(slot, model);
}

// The matrix that rejected a file can be destroyed.
void refuseFile(MatrixOperands& operands) {
  static const std::pair<int32_t, int32_t> kRefused[] = {
      {-1, 5}, {7, -3}, {-2, -3}, {40000, 40000}, {65536, 65536}, {-2147483647 - 1, -1}};
  const std::pair<int32_t, int32_t> sides = kRefused[operands.input.integer(0, 5)];
  std::istringstream stream(fileOf(sides.first, sides.second, operands.values(9)));
  Slot& slot = operands.anySlot();
  operands.slots.dropViewsOf(slot);
  try {
    slot.got->readFrom(stream);
  } catch (const std::bad_alloc&) {
    slot = Slot();
    return;
  }
  fail("refusal of a file", 0);
}

void copy(MatrixOperands& operands) {
  const auto operation = [](const auto& self, auto& target) { self.copyTo(target); };
  operands.unary(operands.anySlot(), {operation, operation});
}

void copyElements(MatrixOperands& operands) {
  Slot &self = operands.anySlot(), &target = operands.anySlot();
  if (!operands.shape(target, {&self}, self.rows, self.cols)) return;
  if (!operands.slots.prepareTarget(target, {&self}, self.rows, self.cols)) return;
  const auto operation = [](const auto& from, auto& to) { from.copyElementsTo(to); };
  operands.slots.run(self, target, {operation, operation});
}

void clone(MatrixOperands& operands) {
  Slot &self = operands.anySlot(), &slot = operands.anySlot();
  if (&self == &slot || self.sharesWith(slot)) return;
  Slot made;
  made.got.reset(self.got->clone());
  Model model = MatrixSlots::modelOf(self).clone();
  model.replaced = true;
  MatrixSlots::settle(made, model);
  operands.slots.become(slot, std::move(made));
}

void transpose(MatrixOperands& operands) {
  Slot &self = operands.anySlot(), &slot = operands.anySlot();
  if (&self == &slot || self.sharesWith(slot)) return;
  Slot made;
  made.got.reset(self.got->transposed());
  Model model = MatrixSlots::modelOf(self).transposed();
  if (self.order == 112) {
    made.storage = self.storage;
    made.offset = self.offset;
    made.owns = false;
  } else {
    model.replaced = model.size > 0;
  }
  MatrixSlots::settle(made, model);
  operands.slots.become(slot, std::move(made));
}

void addScaled(MatrixOperands& operands) {
  const float factor = operands.input.flag() ? 1.0f : operands.anyScalar();
  const auto operation = [=](const auto& self, const auto& other, auto& target) {
    self.addScaled(other, factor, target);
  };
  operands.binary(true, {operation, operation});
}

void addScalar(MatrixOperands& operands) {
  const float value = operands.anyScalar();
  const auto operation = [=](const auto& self, auto& target) { self.addScalar(value, target); };
  operands.unary(operands.anySlot(), {operation, operation});
}

void maxWithScalar(MatrixOperands& operands) {
  const float value = operands.anyScalar();
  const auto operation = [=](const auto& self, auto& target) { self.maxWithScalar(value, target); };
  operands.unary(operands.anySlot(), {operation, operation});
}

void maxElements(MatrixOperands& operands) {
  const auto operation = [](const auto& self, const auto& other, auto& target) {
    self.maxElements(other, target);
  };
  operands.binary(true, {operation, operation});
}

void multiplyElements(MatrixOperands& operands) {
  const auto operation = [](const auto& self, const auto& other, auto& target) {
    self.multiplyElements(other, target);
  };
  operands.binary(true, {operation, operation});
}

void combine(MatrixOperands& operands) {
  const FunctionPair function = anyFunction(operands.input);
  operands.binary(false, {[=](const Matrix& self, const Matrix& other, Matrix& target) {
                            self.combineElements(other, function.got, target);
                          },
                          [=](const Model& self, const Model& other, Model& target) {
                            self.combineElements(other, function.wanted, target);
                          }});
}

void mix(MatrixOperands& operands) {
  const float factor = operands.anyScalar();
  const auto operation = [=](const auto& self, const auto& other, auto& target) {
    self.mixElements(other, factor, target);
  };
  operands.binary(false, {operation, operation});
}

void addBroadcast(MatrixOperands& operands) {
  const float factor = operands.input.flag() ? -1.0f : operands.anyScalar();
  const auto operation = [=](const auto& self, const auto& vector, auto& target) {
    self.addBroadcast(vector, factor, target);
  };
  operands.broadcast({operation, operation});
}

void multiplyBroadcast(MatrixOperands& operands) {
  const auto operation = [](const auto& self, const auto& vector, auto& target) {
    self.multiplyBroadcast(vector, target);
  };
  operands.broadcast({operation, operation});
}

void divideBroadcast(MatrixOperands& operands) {
  const auto operation = [](const auto& self, const auto& vector, auto& target) {
    self.divideBroadcast(vector, target);
  };
  operands.broadcast({operation, operation});
}

void reduce(MatrixOperands& operands) {
  Slot &self = operands.anySlot(), &target = operands.anySlot();
  const int32_t axis = operands.input.integer(0, 2);
  const int32_t rows = axis == 0 ? 1 : self.rows, cols = axis == 0 ? self.cols : 1;
  const FunctionPair function = anyFunction(operands.input);
  const float initial = operands.anyScalar();
  if (&self == &target || !operands.slots.prepareTarget(target, {&self}, rows, cols)) return;
  operands.slots.run(
      self, target,
      {[=](const Matrix& from, Matrix& to) { from.reduce(axis, to, function.got, initial); },
       [=](const Model& from, Model& to) { from.reduce(axis, to, function.wanted, initial); }});
}

void applyFunction(MatrixOperands& operands) {
  const int32_t code = operands.input.integer(-1, 11);
  Slot& self = operands.anySlot();
  const auto operation = [=](const auto& from, auto& target) { from.applyFunction(code, target); };
  if (operands.input.flag()) return operands.unary(self, {operation, operation});
  operands.slots.run(
      self, self, {[=](const Matrix&, Matrix& target) { target.applyFunction(code); }, operation});
  if (code != facefeature::MatrixFunction::Abs) return;
  // The models treat all NaNs alike, but here the sign of a NaN must be cleared.
  for (int32_t i = 0; i < self.size(); ++i) {
    require(!std::signbit(self.got->buffer[i]), "sign bit", static_cast<size_t>(i));
  }
}

float valueAt(const Model& model, int32_t r, int32_t c) {
  return model.cells.at(static_cast<size_t>(model.indexOf(r, c))).at(0);
}

// The matrices have as many lines as are used, or more.
void multiply(MatrixOperands& operands) {
  const int32_t m = operands.anySide(), n = operands.anySide(), k = operands.anySide(),
                ldc = n + operands.input.integer(0, 3);
  const int32_t orderA = operands.anyOrder(), orderB = operands.anyOrder(),
                more = operands.input.integer(0, 2);
  const bool isWhole = operands.input.flag();
  const float alpha = static_cast<float>(operands.input.integer(-2, 2)) * (isWhole ? 1.0f : 0.3f);
  const float beta = static_cast<float>(operands.input.integer(-1, 2));
  Slot &a = operands.slots.at(0), &b = operands.slots.at(1), &c = operands.slots.at(2);
  const auto fill = [&](Slot& slot, int32_t rows, int32_t cols, int32_t order) {
    std::vector<float> numbers(countOf(rows, cols));
    for (float& number : numbers) {
      number = static_cast<float>(operands.input.integer(-9, 9)) * (isWhole ? 1.0f : 1.0f / 3.0f);
    }
    operands.become(slot, rows, cols, order, numbers);
  };
  fill(a, m + (orderA == 111 ? more : 0), k + (orderA == 111 ? 0 : more), orderA);
  fill(b, k + (orderB == 111 ? more : 0), n + (orderB == 111 ? 0 : more), orderB);
  fill(c, m, ldc, 111);
  const Model left = MatrixSlots::modelOf(a), right = MatrixSlots::modelOf(b);
  facefeature::multiply(*a.got, *b.got, m, n, k, alpha, beta, c.got->buffer, ldc);
  for (int32_t i = 0; i < m * n; ++i) {
    const size_t index = static_cast<size_t>(i / n * ldc + i % n);
    float& value = c.storage->wanted.at(c.offset + index);
    float wanted = 0.0f;
    for (int32_t l = 0; l < k; ++l) {
      wanted = reference::fused(valueAt(left, i / n, l), valueAt(right, l, i % n), wanted);
    }
    if (alpha != 1.0f) wanted = reference::product(alpha, wanted);
    if (beta != 0.0f) wanted = reference::sum(reference::product(beta, value), wanted);
    value = c.got->buffer[index];
    require(facefeature_test::sameBits(wanted, value), "product", index);
  }
}

// Biases of any shape, cut off at the end of their storage. A write outside them would change other
// floats of the storage.
void addBiases(MatrixOperands& operands) {
  Slot &biases = operands.anySlot(), &target = operands.anySlot();
  if (target.storage == nullptr || target.sharesWith(biases) || target.order != 111) return;
  std::vector<float>& floats = target.storage->wanted;
  int32_t room = static_cast<int32_t>(floats.size() - target.offset);
  if (operands.input.flag()) room = operands.input.integer(0, room);
  const bool isRow = biases.rows == 1;
  for (int32_t line = 0; line < (isRow ? target.rows : target.cols); ++line) {
    for (int32_t i = 0; i < biases.size(); ++i) {
      const int32_t index = isRow ? line * target.cols + i : i * target.cols + line;
      if (index >= room) continue;
      float& wanted = floats.at(target.offset + static_cast<size_t>(index));
      const float bias = biases.storage->wanted.at(biases.offset + static_cast<size_t>(i));
      wanted = reference::sum(wanted, bias);
    }
  }
  facefeature::addBiases(*biases.got, room, *target.got);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using Step = void (*)(MatrixOperands&);
  static const Step kSteps[] = {
      makeMatrix,       makeViewOfSlot, changeOrder,   resize,        refuse,
      readFile,         refuseFile,     copy,          copyElements,  clone,
      transpose,        addScaled,      addScalar,     maxWithScalar, maxElements,
      multiplyElements, combine,        mix,           addBroadcast,  multiplyBroadcast,
      divideBroadcast,  reduce,         applyFunction, multiply,      addBiases};
  constexpr int32_t kStepCount = sizeof kSteps / sizeof kSteps[0];
  Input input(data, size);
  MatrixOperands operands(input);
  const int32_t steps = input.integer(1, 24);
  for (int32_t i = 0; i < steps; ++i) {
    kSteps[input.integer(0, kStepCount - 1)](operands);
    operands.slots.requireAllAsWanted();
  }
  return 0;
}

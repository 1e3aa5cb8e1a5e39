// Chooses the operands of operations on matrices from the bytes of a fuzzing engine, within the
// domain of the operations.
#ifndef FACEFEATURE_FUZZ_MATRIX_OPERANDS_H
#define FACEFEATURE_FUZZ_MATRIX_OPERANDS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "fuzz_input.h"
#include "matrix_slots.h"

namespace facefeature_fuzz {

using Model = reference::Matrix;

// An operation on two matrices and a target, and the same for their models.
struct PairOperation {
  std::function<void(const facefeature::Matrix& self, const facefeature::Matrix& other,
                     facefeature::Matrix& target)>
      got;
  std::function<void(const Model& self, const Model& other, Model& target)> wanted;
};

inline size_t countOf(int32_t rows, int32_t cols) {
  return static_cast<size_t>(rows) * static_cast<size_t>(cols);
}

class MatrixOperands {
 public:
  explicit MatrixOperands(Input& bytes) : input(bytes) {}

  Slot& anySlot() { return slots.at(input.integer(0, MatrixSlots::kCount - 1)); }
  int32_t anySide() {
    const int32_t side = input.byte();
    return side < 220 ? side % 8 : side % 41;
  }
  int32_t anyOrder() { return input.flag() ? 112 : 111; }
  float anyScalar() { return values(1)[0]; }

  // Many values depend on two bytes only, so a mutated value leaves the operations after it
  // unchanged.
  std::vector<float> values(size_t count) {
    const uint8_t seed[2] = {input.byte(), input.byte()};
    return Input(seed, 2).floats(count);
  }

  // Puts an owning matrix or a view of separate floats into the slot.
  void become(Slot& slot, int32_t rows, int32_t cols, int32_t order,
              const std::vector<float>& content) {
    if (input.byte() % 4 != 0) return slots.becomeOwner(slot, rows, cols, order, content);
    const size_t before = static_cast<size_t>(input.integer(0, 9));
    std::vector<float> floats(before + content.size() + before / 2, 77.0f);
    std::copy(content.begin(), content.end(), floats.begin() + static_cast<std::ptrdiff_t>(before));
    slots.becomeView(slot, rows, cols, order, before, floats);
  }

  void becomeAny(Slot& slot, int32_t rows, int32_t cols) {
    const int32_t order = anyOrder();
    become(slot, rows, cols, order, values(countOf(rows, cols)));
  }

  // Gives the slot a new matrix unless it already has the shape. Returns false if this would free
  // storage that another slot views.
  bool shape(Slot& slot, const std::vector<const Slot*>& kept, int32_t rows, int32_t cols) {
    for (const Slot* other : kept) {
      if (other == &slot) return slot.isShaped(rows, cols);
      if (!slot.isShaped(rows, cols) && other->sharesWith(slot)) return false;
    }
    if (!slot.isShaped(rows, cols)) becomeAny(slot, rows, cols);
    return true;
  }

  void unary(Slot& self, const Operation& operation) {
    Slot& target = anySlot();
    if (slots.prepareTarget(target, {&self}, self.rows, self.cols)) {
      slots.run(self, target, operation);
    }
  }

  // An operation on two matrices of the same shape.
  void binary(bool resizes, const PairOperation& operation) {
    Slot &self = anySlot(), &other = anySlot(), &target = anySlot();
    if (!shape(other, {&self}, self.rows, self.cols)) return;
    if (!resizes && !shape(target, {&self, &other}, self.rows, self.cols)) return;
    runWith(self, other, target, operation);
  }

  // An operation with a vector, which may be shorter than the lines that it is applied to.
  void broadcast(const PairOperation& operation) {
    Slot &self = anySlot(), &vector = anySlot(), &target = anySlot();
    const bool isRow = vector.rows == 1 || (vector.size() == 0 && input.flag());
    const int32_t length = isRow ? self.cols : self.rows;
    if (vector.size() > length || vector.size() == 0 || input.flag()) {
      const int32_t wanted = input.byte() % 4 == 0 ? input.integer(0, length) : length;
      if (!shape(vector, {&self}, isRow ? 1 : wanted, isRow ? wanted : 1)) return;
    }
    // With one row, every vector is a row vector.
    if (vector.size() > (vector.rows == 1 ? self.cols : self.rows)) return;
    runWith(self, vector, target, operation);
  }

  Input& input;
  MatrixSlots slots;

 private:
  void runWith(Slot& self, Slot& other, Slot& target, const PairOperation& operation) {
    if (&other == &target) return;
    if (!slots.prepareTarget(target, {&self, &other}, self.rows, self.cols)) return;
    const Model model = MatrixSlots::modelOf(other);
    slots.run(self, target,
              {[&](const facefeature::Matrix& a, facefeature::Matrix& to) {
                 operation.got(a, *other.got, to);
               },
               [&](const Model& a, Model& to) { operation.wanted(a, model, to); }});
  }
};

}  // namespace facefeature_fuzz

#endif

// A few matrices with a plain record of what each must be, for programs of operations on them.
#ifndef FACEFEATURE_FUZZ_MATRIX_SLOTS_H
#define FACEFEATURE_FUZZ_MATRIX_SLOTS_H

#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include "kernels/matrix.h"
#include "same_results.h"
#include "support/reference_matrix.h"

namespace facefeature_fuzz {

inline void require(bool isSame, const char* what, size_t index = 0) {
  if (!isSame) fail(what, index);
}

// Floats that a matrix owns, or that exist here for views only, and their expected values.
struct Storage {
  float* floats;
  std::vector<float> wanted;
  std::unique_ptr<float[]> held;  // null if a matrix owns them
};

// A matrix and the expected values of its fields.
struct Slot {
  std::unique_ptr<facefeature::Matrix> got{new facefeature::Matrix};
  std::shared_ptr<Storage> storage;  // null if buffer must be null
  size_t offset = 0;                 // of the first element within storage
  int32_t rows = 0;
  int32_t cols = 0;
  int32_t order = facefeature::kRowMajor;
  bool owns = true;

  int32_t size() const { return rows * cols; }
  bool sharesWith(const Slot& other) const {
    return storage != nullptr && storage == other.storage;
  }
  bool isShaped(int32_t wantedRows, int32_t wantedCols) const {
    return rows == wantedRows && cols == wantedCols;
  }
};

// An operation that writes target, applied to the matrices and to their models. self may be target.
struct Operation {
  std::function<void(const facefeature::Matrix& self, facefeature::Matrix& target)> got;
  std::function<void(const reference::Matrix& self, reference::Matrix& target)> wanted;
};

class MatrixSlots {
 public:
  static constexpr int32_t kCount = 5;

  Slot& at(int32_t index) { return slots_.at(static_cast<size_t>(index)); }

  // The model with this slot's fields and values.
  static reference::Matrix modelOf(const Slot& slot) {
    std::vector<float> values;
    for (int32_t i = 0; i < slot.size(); ++i) {
      values.push_back(slot.storage->wanted.at(slot.offset + static_cast<size_t>(i)));
    }
    return {slot.rows, slot.cols, slot.order, values};
  }

  // Makes every other slot that views this slot's storage empty: a view must not outlive its
  // storage.
  void dropViewsOf(const Slot& slot) {
    if (!slot.owns || slot.storage == nullptr) return;
    for (Slot& other : slots_) {
      if (&other != &slot && other.sharesWith(slot)) other = Slot();
    }
  }

  // Puts a new matrix into the slot and destroys the old one.
  void become(Slot& slot, Slot&& content) {
    dropViewsOf(slot);
    slot = std::move(content);
  }

  // An owning matrix of the shape with these values, in storage order.
  void becomeOwner(Slot& slot, int32_t rows, int32_t cols, int32_t order,
                   const std::vector<float>& values) {
    Slot made;
    made.got.reset(new facefeature::Matrix(rows, cols));
    made.rows = rows;
    made.cols = cols;
    require((made.got->buffer == nullptr) == values.empty(), "buffer of a new matrix");
    if (!values.empty()) {
      std::memcpy(made.got->buffer, values.data(), values.size() * sizeof(float));
      made.storage.reset(new Storage{made.got->buffer, values, nullptr});
    }
    requireFields(made);
    made.order = made.got->order = order;
    become(slot, std::move(made));
  }

  // A view of the shape into floats that nothing else writes. It may start after their beginning
  // and stop before their end.
  void becomeView(Slot& slot, int32_t rows, int32_t cols, int32_t order, size_t offset,
                  const std::vector<float>& floats) {
    std::unique_ptr<float[]> held(new float[floats.size()]);
    std::copy(floats.begin(), floats.end(), held.get());
    float* const start = held.get();
    const std::shared_ptr<Storage> storage(new Storage{start, floats, std::move(held)});
    become(slot, viewOf(storage, rows, cols, order, offset));
  }

  static Slot viewOf(const std::shared_ptr<Storage>& storage, int32_t rows, int32_t cols,
                     int32_t order, size_t offset) {
    Slot made;
    made.got.reset(new facefeature::Matrix(
        facefeature::Matrix::view(storage->floats + offset, rows, cols, order)));
    made.storage = storage;
    made.offset = offset;
    made.rows = rows;
    made.cols = cols;
    made.order = order;
    made.owns = false;
    requireFields(made);
    return made;
  }

  // Prepares for an operation that gives target this shape: a view whose element count would change
  // becomes an empty matrix, and so do views of storage that will be freed. Returns false if target
  // shares storage with a slot that the operation reads.
  bool prepareTarget(Slot& target, const std::vector<const Slot*>& sources, int32_t rows,
                     int32_t cols) {
    for (const Slot* source : sources) {
      if (source != &target && source->sharesWith(target)) return false;
    }
    if (target.size() == rows * cols) return true;
    dropViewsOf(target);
    if (target.owns) return true;
    for (const Slot* source : sources) {
      if (source == &target) return false;
    }
    target = Slot();
    return true;
  }

  // Runs the operation on a prepared target and compares it with what its model allows.
  static void run(const Slot& self, Slot& target, const Operation& operation) {
    reference::Matrix selfModel = modelOf(self), targetModel = modelOf(target);
    reference::Matrix& model = &self == &target ? selfModel : targetModel;
    operation.got(*self.got, *target.got);
    operation.wanted(selfModel, model);
    settle(target, model);
  }

  // The slot must match the model, which then adopts the values found.
  static void settle(Slot& slot, const reference::Matrix& model) {
    slot.rows = model.rows;
    slot.cols = model.cols;
    slot.order = model.order;
    if (model.replaced) {
      const size_t count = static_cast<size_t>(model.size);
      slot.storage.reset(new Storage{slot.got->buffer, std::vector<float>(count), nullptr});
      slot.offset = 0;
      require(slot.got->buffer != nullptr, "buffer after a resize");
    }
    requireFields(slot);
    if (const ::testing::AssertionResult allowed = model.allows(slot.got->buffer); !allowed) {
      std::fprintf(stderr, "%s\n", allowed.message());
      fail("values", 0);
    }
    for (size_t i = 0; i < model.cells.size(); ++i) {
      // Storage that was allocated but not written holds anything, and gets a value here.
      if (model.cells[i].empty()) slot.got->buffer[i] = 0.5f;
      slot.storage->wanted.at(slot.offset + i) = slot.got->buffer[i];
    }
  }

  static void requireFields(const Slot& slot) {
    const facefeature::Matrix& got = *slot.got;
    require(got.rows == slot.rows && got.cols == slot.cols, "shape");
    require(got.size == slot.size(), "size");
    require(got.order == slot.order, "order");
    require(got.ownsBuffer == slot.owns, "owner");
    const float* const wanted =
        slot.storage == nullptr ? nullptr : slot.storage->floats + slot.offset;
    require(got.buffer == wanted, "buffer");
    require(got.leadingDimension() == (slot.order == 111 ? slot.cols : slot.rows), "leading");
    for (int32_t r = 0; r < slot.rows; r += 3) {
      const int64_t index = slot.order == 112 ? r : static_cast<int64_t>(r) * slot.cols;
      require(got.indexOf(r, 0) == index, "index");
    }
  }

  // No operation may change anything but its target.
  void requireAllAsWanted() const {
    for (const Slot& slot : slots_) {
      requireFields(slot);
      if (slot.storage == nullptr) continue;
      const std::vector<float>& wanted = slot.storage->wanted;
      requireSameFloats("storage", wanted.data(), slot.storage->floats, wanted.size());
    }
  }

 private:
  std::array<Slot, kCount> slots_;
};

}  // namespace facefeature_fuzz

#endif

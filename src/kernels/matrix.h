// Matrix, the only numeric container: every activation, weight set, bias set and scratch array.
#ifndef FACEFEATURE_KERNELS_MATRIX_H
#define FACEFEATURE_KERNELS_MATRIX_H

#include <cstdint>
#include <iosfwd>

namespace facefeature {

// Storage orders. The values are CblasNoTrans and CblasTrans, and order is passed to cblas_sgemm as
// a transpose argument without translation.
constexpr int32_t kRowMajor = 111;     // (r, c) at cols * r + c
constexpr int32_t kColumnMajor = 112;  // (r, c) at rows * c + r

// Codes of Matrix::applyFunction. Any other code leaves the values unchanged.
namespace MatrixFunction {
enum Code : int32_t {
  Tanh = 0,
  Reciprocal = 1,
  Square = 2,
  Abs = 3,  // clears the sign bit, also of NaNs
  Exp = 4,
  Log = 5,
  Zero = 6,
  One = 7,
  LogisticByTanh = 8,  // (tanh(0.5 x) + 1) 0.5
  LogisticByExp = 9,   // 1 / (exp(-x) + 1)
  Sign = 10            // 1 above zero, else -1: also for 0 and NaN
};
}  // namespace MatrixFunction

// A function of two floats, rounded to a float before it returns.
using ElementFunction = float (*)(float, float);

inline float elementMultiply(float a, float b) { return a * b; }
inline float elementAdd(float a, float b) { return a + b; }

// a if it is greater, else b: b wins ties, so the sign of a zero is b's, and b wins whenever either
// is a NaN. Neither std::max nor fmax does this.
inline float elementMax(float a, float b) { return a > b ? a : b; }

// Allocates count uninitialised floats. Throws std::bad_alloc, also for a negative count and for
// one whose bytes exceed 32 bits. Every Matrix buffer comes from here and goes to releaseFloats.
float* allocateFloats(int64_t count);
void releaseFloats(float* floats);  // null is fine

// A dense 2-D array of floats that either owns its storage or is a view of other storage. Knows
// nothing about layers.
//
// Shapes of operands are never compared; each operation documents what it accesses, and the caller
// is responsible for it. All arithmetic is in single precision, rounded after each operation, in
// ascending index, except exp, log and tanh (kernels/vector_math.h). target may be this, unless an
// operation says otherwise.
//
// Allocations throw std::bad_alloc. Every operation with a target first gives it the shape of this
// (or the shape that it documents) by the rule of resize(). A matrix therefore keeps its buffer
// from run to run.
//
// A vector argument is a row vector exactly if its rows is 1, whatever its cols, and a column
// vector otherwise; its order is ignored. So the column vector of a matrix of one row, 1 x 1, is
// treated as a row vector and affects only the first element of each row. This is intentional:
// features do not depend on it, but softmax of a single row does.
class Matrix {
 public:
  float* buffer;    // first element; null until first sized
  bool ownsBuffer;  // false for a view: the destructor then leaves buffer alone
  int32_t rows;
  int32_t cols;
  int32_t size;   // rows * cols, but for a bias matrix that localForward has reshaped
  int32_t order;  // kRowMajor or kColumnMajor

  // Empty: null buffer, 0 x 0, row-major, owning.
  Matrix();

  // Row-major and owning, contents undefined. A product of rows and cols below 1 allocates nothing.
  Matrix(int32_t rows, int32_t cols);

  ~Matrix();
  Matrix(const Matrix&) = delete;
  Matrix& operator=(const Matrix&) = delete;

  // A view of other storage, which must outlive it.
  static Matrix view(float* storage, int32_t rows, int32_t cols, int32_t order);

  // Reads the matrix of a file: 32-bit rows, 32-bit cols, then the floats row by row. A missing
  // header gives 0 x 0, and missing floats are 0; the stream's state is not reported. Throws
  // std::bad_alloc for counts that are negative or beyond 32 bits of bytes.
  void readFrom(std::istream& stream);

  // Does nothing if the matrix already has the shape, order included. Otherwise the buffer is
  // replaced if the element count differs (contents lost, also for a count of 0) and kept with its
  // values if not, and order becomes row-major. ownsBuffer is ignored: never resize a view to
  // another element count. If memory runs out, the matrix is unchanged.
  void resize(int32_t wantedRows, int32_t wantedCols);
  void resizeLike(const Matrix& other);

  // Copies values and, if both matrices or neither are column-major, the order flag too.
  void copyTo(Matrix& target) const;

  // Copies element by element into a target of the same shape, each side in its own order.
  void copyElementsTo(Matrix& target) const;

  // A new row-major matrix on the heap with the same values, owned by the caller.
  Matrix* clone() const;

  // A new matrix of cols x rows on the heap, owned by the caller. A column-major matrix is not
  // moved: the result is a row-major view of the same buffer, which must outlive it. Any other is
  // copied.
  Matrix* transposed() const;

  // target = this + factor * other. If all three or none are column-major: one saxpy over the
  // storage. Otherwise element by element, as a plain sum if factor is exactly 1.
  void addScaled(const Matrix& other, float factor, Matrix& target) const;

  // target = value + this, in storage order.
  void addScalar(float value, Matrix& target) const;

  // target = this where it is greater than value, else value, in storage order. So NaN gives value,
  // and -0 against 0 gives 0.
  void maxWithScalar(float value, Matrix& target) const;

  // target = elementMax(this, other).
  void maxElements(const Matrix& other, Matrix& target) const;

  // target = this * other, in storage order if both or neither are column-major.
  void multiplyElements(const Matrix& other, Matrix& target) const;

  // target(r, c) = function(this(r, c), other(r, c)), each in its own order. Does not resize.
  void combineElements(const Matrix& other, ElementFunction function, Matrix& target) const;

  // target(r, c) = other(r, c) * factor + this(r, c), each in its own order. Does not resize.
  void mixElements(const Matrix& other, float factor, Matrix& target) const;

  // target = this with factor * vector added to each row (row vector) or column. Each line gets
  // vector.size elements, whatever its length.
  void addBroadcast(const Matrix& vector, float factor, Matrix& target) const;

  // target = this with each column (row vector) or row (column vector) scaled by its element.
  void multiplyBroadcast(const Matrix& vector, Matrix& target) const;

  // target = this divided by vector. If the vector runs along the storage, this is a division;
  // otherwise a product with the rounded reciprocal. The two differ in their last bits, and both
  // are part of the definition.
  void divideBroadcast(const Matrix& vector, Matrix& target) const;

  // One value for each column (axis 0: target becomes 1 x cols) or each row (any other axis: rows x
  // 1): accumulator = function(element, accumulator) from initial, in ascending index. An empty
  // line gives initial. target must not be this.
  void reduce(int32_t axis, Matrix& target, ElementFunction function, float initial) const;

  // target = the function of each element, in storage order.
  void applyFunction(int32_t code, Matrix& target) const;
  void applyFunction(int32_t code);

  // The element's offset in buffer, by order.
  int64_t indexOf(int32_t r, int32_t c) const {
    return order == kColumnMajor ? static_cast<int64_t>(rows) * c + r
                                 : static_cast<int64_t>(cols) * r + c;
  }

  // The leading dimension of this matrix for cblas_sgemm, which is always called row-major.
  int32_t leadingDimension() const { return order == kRowMajor ? cols : rows; }

 private:
  // Used by view(), whose result initialises a variable: nothing is copied.
  Matrix(float* storage, int32_t viewRows, int32_t viewCols, int32_t viewOrder);

  bool isColumnMajor() const { return order == kColumnMajor; }
  void replaceBuffer(int32_t wantedRows, int32_t wantedCols);
};

}  // namespace facefeature

#endif

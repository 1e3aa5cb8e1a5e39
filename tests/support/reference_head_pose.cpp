#include "support/reference_head_pose.h"

#include <cstring>

#include "support/reference_single_steps.h"

namespace reference {
namespace {

// Written so that the constants are the floats with these bits on every platform.
float floatWithBits(uint32_t bits) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// The elements of a list at a given step, summed in order from 0.
Single runningSum(const std::vector<float>& values, size_t first, size_t step) {
  Single sum(0.0f);
  for (size_t i = first; i < values.size(); i += step) sum = sum + Single(values[i]);
  return sum;
}

// The products of two lists of points, coordinate by coordinate, summed in point order from 0.
Single runningProduct(const std::vector<float>& a, size_t firstA, size_t stepA,
                      const std::vector<float>& b, size_t firstB, size_t stepB) {
  Single sum(0.0f);
  for (size_t i = firstA, j = firstB; i < a.size() && j < b.size(); i += stepA, j += stepB) {
    sum = sum + Single(a[i]) * Single(b[j]);
  }
  return sum;
}

Single dot3(const Single* a, const Single* b) { return (a[0] * b[0] + a[1] * b[1]) + a[2] * b[2]; }

Single degrees(float radians) {
  const Single product = Single(radians) * Single(180.0f);
  return Single(static_cast<float>(product.wide() / 3.14159265358979323846));
}

}  // namespace

const std::vector<ModelRow>& modelRows() {
  static const std::vector<ModelRow> rows = {
      {0, -3.227f, -3.484f, 9.589f},    {1, 3.05f, -3.546f, 9.59f},
      {2, -5.7f, -4.652f, 8.292f},      {3, -1.549f, -5.085f, 10.83f},
      {4, 1.612f, -5.106f, 10.83f},     {5, 5.705f, -4.704f, 8.148f},
      {6, -0.0185f, -3.543f, 11.07f},   {9, 0.01795f, -0.2319f, 13.32f},
      {10, -0.02015f, 2.274f, 11.62f},  {11, -0.04147f, 4.102f, 11.41f},
      {12, -2.673f, 3.301f, 10.002f},   {13, 2.528f, 3.315f, 9.962f},
      {43, 1.661f, 0.3568f, 10.66f},    {44, -1.74f, 0.2793f, 10.69f},
      {45, 0.07737f, 3.101f, 11.32f},   {200, -0.01402f, 1.045f, 11.69f},
      {221, -1.782f, -3.277f, 9.267f},  {222, -3.255f, -2.946f, 9.531f},
      {223, -4.436f, -3.397f, 8.747f},  {225, 4.376f, -3.418f, 8.762f},
      {226, 3.056f, -2.961f, 9.522f},   {227, 1.626f, -3.367f, 9.263f},
      {240, -7.386f, 0.05087f, 1.039f}, {241, 7.377f, 0.0564f, 1.298f},
      {300, -3.956f, -5.678f, 10.06f},  {302, 3.664f, -5.768f, 10.18f},
      {314, -0.0435f, 6.917f, 10.75f},  {315, -6.365f, 3.718f, 3.913f},
      {316, 6.252f, 3.752f, 3.822f},
  };
  return rows;
}

int32_t modelPointOf(int32_t id) {
  const std::vector<ModelRow>& rows = modelRows();
  for (size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].id == id) return static_cast<int32_t>(i);
  }
  return 0;
}

int32_t solveCholesky8(float* matrix, float* rightSide) {
  const auto at = [matrix](int row, int column) { return Single(matrix[row * 8 + column]); };
  const auto reduced = [&at](int row, int column) {
    Single value = at(row, column);
    for (int k = 0; k < column; ++k) value = value - at(column, k) * at(row, k);
    return value;
  };
  for (int index = 0; index < 64; ++index) {
    const int row = index / 8;
    const int column = index % 8;
    if (column > row) continue;
    Single value = reduced(row, column);
    if (column < row) {
      value = value * at(column, column);
    } else {
      if (floatWithBits(0x00800000u) > value.value) return 0;
      value = Single(1.0f) / squareRoot(value);
    }
    matrix[index] = value.value;
  }
  if (rightSide == nullptr) return 1;

  for (int i = 0; i < 8; ++i) {
    Single value(rightSide[i]);
    for (int k = 0; k < i; ++k) value = value - Single(rightSide[k]) * at(i, k);
    rightSide[i] = (value * at(i, i)).value;
  }
  for (int left = 8; left > 0; --left) {
    const int i = left - 1;
    Single value(rightSide[i]);
    for (int k = 7; k > i; --k) value = value - at(k, i) * Single(rightSide[k]);
    rightSide[i] = (value * at(i, i)).value;
  }
  return 1;
}

ProjectionRows projectionRows(const std::vector<float>& points, const std::vector<float>& model) {
  // A fourth coordinate of 1 unifies all the sums: a product with 1 changes no bit.
  std::vector<float> lifted;
  for (size_t i = 0; i + 2 < model.size(); i += 3) {
    lifted.insert(lifted.end(), {model[i], model[i + 1], model[i + 2], 1.0f});
  }
  float matrix[64] = {};
  for (size_t row = 0; row < 4; ++row) {
    for (size_t column = 0; column < 4; ++column) {
      const float sum = runningProduct(lifted, row, 4, lifted, column, 4).value;
      matrix[row * 8 + column] = sum;
      matrix[(row + 4) * 8 + column + 4] = sum;
    }
  }
  ProjectionRows rows;
  for (size_t i = 0; i < 8; ++i) {
    rows.values[i] = runningProduct(points, i / 4, 2, lifted, i % 4, 4).value;
  }
  rows.status = solveCholesky8(matrix, rows.values.data());
  return rows;
}

std::array<float, 6> orthogonalRows(const std::array<float, 8>& projection) {
  const Single r1[3] = {projection[0], projection[1], projection[2]};
  const Single r2[3] = {projection[4], projection[5], projection[6]};
  const Single A = dot3(r1, r1);
  const Single B = dot3(r2, r2);
  const Single H = dot3(r2, r1);
  const Single AB = B * A;
  const Single HH = H * H;
  const Single D = squareRoot(AB - HH);
  const Single E = (squareRoot(AB) * D + AB) - HH;
  const Single a = squareRoot(A);
  const Single b = squareRoot(B);
  const Single twoA = Single(2.0f) * a;
  const Single twoB = Single(2.0f) * b;
  const Single f1 = ((b * H) * H) / (twoA * E) + (a + b) / twoA;
  const Single f2 = ((a * H) * H) / (twoB * E) + (a + b) / twoB;
  const Single g = H / (Single(2.0f) * D);

  std::array<float, 6> rows;
  for (size_t j = 0; j < 3; ++j) {
    rows[j] = (r1[j] * f1 - r2[j] * g).value;
    rows[3 + j] = (r2[j] * f2 - r1[j] * g).value;
  }
  return rows;
}

Projection fitProjection(const std::vector<float>& points, const std::vector<float>& model) {
  const Single count = fromInteger(static_cast<int32_t>(points.size() / 2));
  const Single mx = runningSum(points, 0, 2) / count;
  const Single my = runningSum(points, 1, 2) / count;
  const Single modelMean[3] = {runningSum(model, 0, 3) / count, runningSum(model, 1, 3) / count,
                               runningSum(model, 2, 3) / count};
  std::vector<float> centredPoints;
  for (size_t i = 0; i < points.size(); ++i) {
    centredPoints.push_back((Single(points[i]) - (i % 2 == 0 ? mx : my)).value);
  }
  std::vector<float> centredModel;
  for (size_t i = 0; i < model.size(); ++i) {
    centredModel.push_back((Single(model[i]) - modelMean[i % 3]).value);
  }
  const ProjectionRows solved = projectionRows(centredPoints, centredModel);
  const std::array<float, 6> rows = orthogonalRows(solved.values);

  const Single u[3] = {rows[0], rows[1], rows[2]};
  const Single scale = squareRoot(dot3(u, u));
  Single R[9];
  for (size_t i = 0; i < 6; ++i) R[i] = Single(rows[i]) / scale;
  R[6] = R[5] * R[1] - R[4] * R[2];
  R[7] = R[3] * R[2] - R[5] * R[0];
  R[8] = R[4] * R[0] - R[3] * R[1];

  Projection result;
  const Single mX = modelMean[0];
  const Single mY = modelMean[1];
  const Single mZ = modelMean[2];
  result.translation[0] = (mx - ((R[0] * mX + R[1] * mY) + R[2] * mZ) * scale).value;
  result.translation[1] = (my - ((R[4] * mY + R[3] * mX) + R[5] * mZ) * scale).value;
  result.translation[2] = (-(((R[6] * mX + R[7] * mY) + R[8] * mZ) * scale)).value;
  for (size_t i = 0; i < 9; ++i) result.rotation[i] = R[i].value;
  result.scale = scale.value;
  result.solverStatus = solved.status;
  return result;
}

std::array<float, 4> rotationToQuaternion(const std::array<float, 9>& rotation) {
  const auto m = [&rotation](size_t row, size_t column) {
    return Single(rotation[row * 3 + column]);
  };
  const Single one(1.0f);
  const Single quarter(0.25f);
  const auto twiceRoot = [](Single e) { return Single(2.0f) * squareRoot(e); };
  const Single t = ((m(1, 1) + m(0, 0)) + m(2, 2)) + one;
  Single x, y, z, w;
  if (t.value > 0.0f) {
    const Single c = twiceRoot(t);
    x = (m(2, 1) - m(1, 2)) / c;
    y = (m(0, 2) - m(2, 0)) / c;
    z = (m(1, 0) - m(0, 1)) / c;
    w = c * quarter;
  } else if (m(0, 0).value > m(1, 1).value && m(0, 0).value > m(2, 2).value) {
    const Single c = twiceRoot(((m(0, 0) + one) - m(1, 1)) - m(2, 2));
    x = c * quarter;
    y = (m(0, 1) + m(1, 0)) / c;
    z = (m(0, 2) + m(2, 0)) / c;
    w = (m(2, 1) - m(1, 2)) / c;
  } else if (m(1, 1).value > m(2, 2).value) {
    const Single c = twiceRoot(((m(1, 1) + one) - m(0, 0)) - m(2, 2));
    x = (m(0, 1) + m(1, 0)) / c;
    y = c * quarter;
    z = (m(1, 2) + m(2, 1)) / c;
    w = (m(0, 2) - m(2, 0)) / c;
  } else {
    const Single c = twiceRoot(((m(2, 2) + one) - m(0, 0)) - m(1, 1));
    x = (m(0, 2) + m(2, 0)) / c;
    y = (m(1, 2) + m(2, 1)) / c;
    z = c * quarter;
    w = (m(1, 0) - m(0, 1)) / c;
  }
  const Single n = ((x * x + y * y) + z * z) + w * w;
  if (n.value == 1.0f) return {x.value, y.value, z.value, w.value};
  const Single factor = one / squareRoot(n);
  return {(x * factor).value, (y * factor).value, (z * factor).value, (w * factor).value};
}

std::array<float, 3> quaternionToAngles(const std::array<float, 4>& quaternion) {
  const Single x(quaternion[0]);
  const Single y(quaternion[1]);
  const Single z(quaternion[2]);
  const Single w(quaternion[3]);
  const double xx = (x * x).wide();
  const double yy = (y * y).wide();
  const double zz = (z * z).wide();
  const double ww = (w * w).wide();
  const double s = 2.0 * (y * w - z * x).wide();
  const auto isAbout = [s](double pole) { return s + 1e-6 >= pole && pole >= s - 1e-6; };
  const auto narrowed = [](double value) { return static_cast<float>(value); };

  if (isAbout(1.0) || isAbout(-1.0)) {
    const bool up = isAbout(1.0);
    const double half = static_cast<double>(narrowed(std::atan2(x.wide(), w.wide())));
    return {0.0f, floatWithBits(up ? 0x3FC90FDBu : 0xBFC90FDBu),
            narrowed((up ? -2.0 : 2.0) * half)};
  }
  const double clamped = s < -1.0 ? -1.0 : (s > 1.0 ? 1.0 : s);
  const double o0 = std::atan2(2.0 * (x * w + z * y).wide(), (zz - (yy + xx)) + ww);
  const double o2 = std::atan2(2.0 * (y * x + z * w).wide(), ((xx - yy) - zz) + ww);
  return {narrowed(o0), narrowed(std::asin(clamped)), narrowed(o2)};
}

HeadPose headPose(const LandmarkSet& landmarks) {
  std::vector<float> points;
  std::vector<float> model;
  const Landmark* entry = landmarks.entries;
  for (int32_t left = landmarks.count; left > 0; --left, ++entry) {
    const ModelRow& row = modelRows()[static_cast<size_t>(modelPointOf(entry->id))];
    points.insert(points.end(), {entry->x, entry->y});
    model.insert(model.end(), {row.x, row.y, row.z});
  }
  HeadPose pose;
  pose.projection = fitProjection(points, model);
  const std::array<float, 3> angles =
      quaternionToAngles(rotationToQuaternion(pose.projection.rotation));
  pose.angleZ = degrees(angles[2]).value;
  pose.angleY = degrees(angles[1]).value;
  pose.angleX = degrees(angles[0]).value;
  pose.referenceLength = (Single(pose.projection.scale) * Single(6.2773f)).value;
  return pose;
}

}  // namespace reference

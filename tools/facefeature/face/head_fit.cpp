#include "face/head_fit.h"

#include <cmath>

#include "face/landmark_file.h"
#include "geometry/head_pose.h"
#include "geometry/model_points.h"

namespace facefeature_tools {
namespace {

bool isFinite(const HeadFit& fit) {
  for (const float value : fit.rotation) {
    if (!std::isfinite(value)) return false;
  }
  return std::isfinite(fit.translation[0]) && std::isfinite(fit.translation[1]) &&
         std::isfinite(fit.scale) && fit.scale > 0.0f && std::isfinite(fit.residual);
}

double rootMeanSquare(const HeadFit& fit, const std::vector<Landmark>& landmarks) {
  double sum = 0.0;
  for (const Landmark& landmark : landmarks) {
    const float* model = modelPointOf(landmark.id);
    const ImagePoint position = fit.project(model[0], model[1], model[2]);
    sum += std::pow(position.x - landmark.x, 2.0) + std::pow(position.y - landmark.y, 2.0);
  }
  return std::sqrt(sum / static_cast<double>(landmarks.size())) / fit.scale;
}

}  // namespace

ImagePoint HeadFit::project(double x, double y, double z) const {
  const float* r = rotation;
  return {translation[0] + scale * (r[0] * x + r[1] * y + r[2] * z),
          translation[1] + scale * (r[3] * x + r[4] * y + r[5] * z)};
}

const float* modelPointOf(int32_t id) {
  return facefeature::ModelPoints[facefeature::ModelPointIndex[id]];
}

HeadFit fitHead(const std::vector<Landmark>& landmarks) {
  HeadFit fit = {};
  if (landmarks.empty()) return fit;
  std::vector<float> points, model;
  for (const Landmark& landmark : landmarks) {
    points.insert(points.end(), {landmark.x, landmark.y});
    const float* position = modelPointOf(landmark.id);
    model.insert(model.end(), position, position + 3);
  }
  facefeature::FitProjection(points.data(), model.data(), static_cast<int32_t>(landmarks.size()),
                             fit.rotation, fit.translation, &fit.scale);
  const LandmarkRecord record = makeRecord(landmarks);
  fit.referenceLength =
      facefeature::EstimateHeadPose(record.get(), &fit.roll, &fit.yaw, &fit.pitch);
  fit.residual = rootMeanSquare(fit, landmarks);
  fit.isGood = isFinite(fit);
  return fit;
}

}  // namespace facefeature_tools

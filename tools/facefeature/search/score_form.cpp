#include "search/score_form.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "base/failure.h"
#include "base/whole_file.h"
#include "model/model_fingerprint.h"

namespace facefeature_tools {
namespace {

constexpr size_t kUnits = 500;
constexpr size_t kInverseNormAt = 500;
constexpr size_t kSquaresAt = 501;
constexpr size_t kRestAt = 502;

// u, p and P of a feature.
struct Parts {
  std::array<double, kUnits> units;
  double inverseNorm;
  double squares;
};

bool partsOf(const FeatureVector& feature, Parts& parts) {
  const double norm = static_cast<double>(feature.values[501]);
  for (size_t k = 0; k < kUnits; ++k) {
    parts.units[k] = static_cast<double>(feature.values[k]) / norm;
    if (!std::isfinite(parts.units[k])) return false;
  }
  parts.inverseNorm = 1.0 / norm;
  parts.squares = static_cast<double>(feature.values[500]) / norm;
  return std::isfinite(parts.inverseNorm) && std::isfinite(parts.squares);
}

// The square of the length of a row without its rest, from the stored coordinates.
double storedSquare(const ScoreForm& form) {
  double sum = 0.0;
  for (size_t k = 0; k < kRestAt; ++k) {
    sum += static_cast<double>(form[k]) * static_cast<double>(form[k]);
  }
  return sum;
}

// All coordinates except the rest.
void placeRow(const Parts& parts, const FormParameters& p, ScoreForm& form) {
  for (size_t k = 0; k < kUnits; ++k) form[k] = static_cast<float>(parts.units[k]);
  form[kInverseNormAt] =
      static_cast<float>(p.inverseNormScale * (parts.inverseNorm - p.inverseNormMean));
  form[kSquaresAt] = static_cast<float>(p.squaresScale * (parts.squares - p.squaresMean));
}

}  // namespace

FormParameters fitForm(const Gallery& gallery, double headroom) {
  FormParameters parameters;
  Parts parts;
  double count = 0.0, inverseNorms = 0.0, squares = 0.0;
  for (size_t row = 0; row < gallery.count(); ++row) {
    if (!partsOf(gallery.feature(row), parts)) continue;
    count += 1.0;
    inverseNorms += parts.inverseNorm;
    squares += parts.squares;
  }
  if (count == 0.0) return parameters;
  parameters.inverseNormMean = inverseNorms / count;
  parameters.squaresMean = squares / count;
  // A probe is similar to the rows, so its last two numbers are then close to -1.
  if (parameters.squaresMean != 0.0) {
    parameters.inverseNormScale = std::fabs(parameters.squaresMean);
  }
  if (parameters.inverseNormMean != 0.0) {
    parameters.squaresScale = std::fabs(parameters.inverseNormMean);
  }
  double longest = 1.0;
  ScoreForm form;
  for (size_t row = 0; row < gallery.count(); ++row) {
    if (!partsOf(gallery.feature(row), parts)) continue;
    placeRow(parts, parameters, form);
    longest = std::max(longest, storedSquare(form));
  }
  parameters.squaredLength = 1.0 + (longest - 1.0) * headroom;
  return parameters;
}

bool rowForm(const FeatureVector& feature, const FormParameters& parameters, ScoreForm& form) {
  Parts parts;
  if (!partsOf(feature, parts)) return false;
  ScoreForm made;
  placeRow(parts, parameters, made);
  const double rest = parameters.squaredLength - storedSquare(made);
  if (!(rest >= 0.0)) return false;
  made[kRestAt] = static_cast<float>(std::sqrt(rest));
  form = made;
  return true;
}

bool probeForm(const FeatureVector& feature, const FormParameters& parameters, ScoreForm& form) {
  Parts parts;
  if (!partsOf(feature, parts)) return false;
  for (size_t k = 0; k < kUnits; ++k) form[k] = static_cast<float>(2.0 * parts.units[k]);
  form[kInverseNormAt] = static_cast<float>(-parts.squares / parameters.inverseNormScale);
  form[kSquaresAt] = static_cast<float>(-parts.inverseNorm / parameters.squaresScale);
  form[kRestAt] = 0.0f;
  return true;
}

std::string formText(const FormParameters& p, const Digest& model) {
  const nlohmann::ordered_json json = {{"form", "facefeature-503"},
                                       {"model", hexText(model)},
                                       {"inverse_norm_mean", p.inverseNormMean},
                                       {"squares_mean", p.squaresMean},
                                       {"inverse_norm_scale", p.inverseNormScale},
                                       {"squares_scale", p.squaresScale},
                                       {"squared_length", p.squaredLength}};
  return json.dump(2) + "\n";
}

FormParameters readForm(const std::string& path, const Digest& model) {
  const std::string remedy =
      "Name the .form.json file that \"facefeature gallery export --to\" wrote";
  const Failure notAForm(kBadInput, path, "is not a form of an export", remedy);
  const auto json = nlohmann::json::parse(readWholeFile(path, 65536, remedy), nullptr, false);
  FormParameters p;
  std::string madeOf;
  try {
    if (json.at("form") != "facefeature-503") throw notAForm;
    madeOf = json.at("model").get<std::string>();
    p.inverseNormMean = json.at("inverse_norm_mean").get<double>();
    p.squaresMean = json.at("squares_mean").get<double>();
    p.inverseNormScale = json.at("inverse_norm_scale").get<double>();
    p.squaresScale = json.at("squares_scale").get<double>();
    p.squaredLength = json.at("squared_length").get<double>();
  } catch (const nlohmann::json::exception&) {
    throw notAForm;
  }
  if (madeOf != hexText(model)) {
    throw Failure(
        kBadModel, path,
        "is a form for the model " + madeOf + ", and the features are of " + hexText(model),
        "Export both from galleries of one model");
  }
  if (p.inverseNormScale == 0.0 || p.squaresScale == 0.0) throw notAForm;
  return p;
}

}  // namespace facefeature_tools

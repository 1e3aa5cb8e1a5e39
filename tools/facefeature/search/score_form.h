// Features as vectors whose inner product ranks as the score does, for engines that search vectors.
//
// With u = elements 0 to 499 of a feature over its norm n, p = 1 / n and P = element 500 over n,
// the score of a probe a with a row b is
//
//     2 u_a . u_b - P_a p_b - p_a P_b + 1
//
// so it is an inner product of two different vectors of 502 numbers, one made of the probe and one
// of the row. The terms of a whole gallery that depend on the probe alone do not change the order
// of the rows: p_b and P_b are taken less their means p0 and P0. What remains of them is multiplied
// by scales and the probe's numbers are divided by these, so that all coordinates have similar
// sizes:
//
//     row:    u_b, alpha (p_b - p0), beta (P_b - P0), rest
//     probe:  2 u_a, -P_a / alpha, -p_a / beta, 0
//     score = row . probe + 1 - P_a p0 - p_a P0
//
// rest, the 503rd number, makes all rows equally long. For rows of equal length the Euclidean
// distance, the cosine and the inner product rank alike, and graph indexes, which presuppose that,
// keep their recall.
#ifndef FACEFEATURE_TOOLS_SEARCH_SCORE_FORM_H
#define FACEFEATURE_TOOLS_SEARCH_SCORE_FORM_H

#include <facefeature/facefeature.h>

#include <array>
#include <string>

#include "gallery/gallery_file.h"

namespace facefeature_tools {

constexpr size_t kFormFloats = 503;
using ScoreForm = std::array<float, kFormFloats>;

// One form for all rows and probes that are searched together. The numbers in parentheses above.
struct FormParameters {
  double inverseNormMean = 0;   // p0
  double squaresMean = 0;       // P0
  double inverseNormScale = 1;  // alpha
  double squaresScale = 1;      // beta
  double squaredLength = 1;     // of every row
};

// Parameters for the rows of a gallery and for rows that are added later. headroom, at least 1, is
// the factor by which the square of the longest row, less 1, may grow. Rows without a form do not
// count. All sums are in double, in order of the rows.
FormParameters fitForm(const Gallery& gallery, double headroom);

// False if a feature has no form: if a number of it is not finite, or its norm is 0, or it is
// longer than the parameters have room for. form is unchanged then.
bool rowForm(const FeatureVector& feature, const FormParameters& parameters, ScoreForm& form);

// False if a feature has no form as a probe: if a number is not finite or its norm is 0.
bool probeForm(const FeatureVector& feature, const FormParameters& parameters, ScoreForm& form);

// The parameters as JSON with the fingerprint of the model, and back. Throws Failure (kBadInput)
// that names the file if it is not such a text, and (kBadModel) if it is of another model.
std::string formText(const FormParameters& parameters, const Digest& model);
FormParameters readForm(const std::string& path, const Digest& model);

}  // namespace facefeature_tools

#endif

// Converts features to vectors whose inner product ranks like the score, for engines that search
// vectors.
//
// With u = elements 0 to 499 of a feature divided by its norm n, p = 1 / n and P = element 500
// divided by n, the score of a probe a with a row b is
//
//     2 u_a . u_b - P_a p_b - p_a P_b + 1
//
// so it is an inner product of two different vectors of 502 numbers, one made from the probe and
// one from the row. Terms that depend only on the probe do not change the order of the rows, so the
// means p0 and P0 are subtracted from p_b and P_b. The remainders are multiplied by scales and the
// probe's numbers are divided by them, so that all coordinates have similar sizes:
//
//     row:    u_b, alpha (p_b - p0), beta (P_b - P0), rest
//     probe:  2 u_a, -P_a / alpha, -p_a / beta, 0
//     score = row . probe + 1 - P_a p0 - p_a P0
//
// rest, the 503rd number, makes all rows equally long. For rows of equal length the Euclidean
// distance, the cosine and the inner product rank alike, and graph indexes, which assume that, keep
// their recall.
#ifndef FACEFEATURE_TOOLS_SEARCH_SCORE_FORM_H
#define FACEFEATURE_TOOLS_SEARCH_SCORE_FORM_H

#include <facefeature/facefeature.h>

#include <array>
#include <string>

#include "gallery/gallery_file.h"

namespace facefeature_tools {

constexpr size_t kFormFloats = 503;
using ScoreForm = std::array<float, kFormFloats>;

// The parameters for all rows and probes that are searched together. The comments name them as
// above.
struct FormParameters {
  double inverseNormMean = 0;   // p0
  double squaresMean = 0;       // P0
  double inverseNormScale = 1;  // alpha
  double squaresScale = 1;      // beta
  double squaredLength = 1;     // of every row
};

// Parameters for the rows of a gallery and for rows that are added later. headroom, at least 1, is
// the factor by which the square of the longest row, minus 1, may grow. Rows that have no such
// vector are ignored. All sums are in double precision, in the order of the rows.
FormParameters fitForm(const Gallery& gallery, double headroom);

// Returns false if a feature has no such vector, because one of its numbers is not finite, its norm
// is 0, or it is too long for the parameters. form is unchanged then.
bool rowForm(const FeatureVector& feature, const FormParameters& parameters, ScoreForm& form);

// Returns false if a feature can't be a probe, because one of its numbers is not finite or its norm
// is 0.
bool probeForm(const FeatureVector& feature, const FormParameters& parameters, ScoreForm& form);

// Converts the parameters, with the fingerprint of the model, to JSON and back. Throws Failure that
// names the file: kBadInput if it is not such a text, kBadModel if it is of another model.
std::string formText(const FormParameters& parameters, const Digest& model);
FormParameters readForm(const std::string& path, const Digest& model);

}  // namespace facefeature_tools

#endif

// An evaluation as files: for people (HTML), for programs (JSON) and for tables (CSV).
#ifndef FACEFEATURE_TOOLS_EVALUATION_REPORT_H
#define FACEFEATURE_TOOLS_EVALUATION_REPORT_H

#include <string>

#include "evaluation/evaluation.h"
#include "page/photo_index.h"

namespace facefeature_tools {

// The figures as CSV, one per row: figure,at,value,low,high,threshold,note.
std::string csvReport(const Evaluation& evaluation);

// The complete Evaluation as JSON.
std::string jsonReport(const Evaluation& evaluation);

// A self-contained page. Photographs of the worst pairs are embedded if the index has them.
std::string htmlReport(const Evaluation& evaluation, const PhotoIndex& photographs);

}  // namespace facefeature_tools

#endif

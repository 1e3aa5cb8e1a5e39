#include "enrolled_gallery.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "face_templates.h"

namespace facefeature_adapter {

using FRVT::ReturnCode;

namespace {

constexpr char kTemplates[] = "/templates";
constexpr char kManifest[] = "/manifest";

std::string contentOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream) throw GalleryError(ReturnCode::InputLocationError, path + ": can't be read");
  return text;
}

struct ManifestLine {
  std::string id;
  uint64_t length = 0;
  uint64_t offset = 0;
};

ManifestLine parsedLine(const std::string& text) {
  ManifestLine line;
  std::istringstream words(text);
  std::string rest;
  if (!(words >> line.id >> line.length >> line.offset) || words >> rest) {
    throw GalleryError(ReturnCode::ParseError, "the manifest has the line \"" + text + "\"");
  }
  return line;
}

std::vector<FeatureVector> featuresAt(const std::string& templates, const ManifestLine& line) {
  std::vector<FeatureVector> features;
  if (line.length == 0) return features;
  const bool isInside =
      line.offset <= templates.size() && line.length <= templates.size() - line.offset;
  if (isInside) {
    const auto start = templates.begin() + static_cast<std::ptrdiff_t>(line.offset);
    const Template bytes(start, start + static_cast<std::ptrdiff_t>(line.length));
    if (featuresOf(bytes, features)) return features;
  }
  throw GalleryError(ReturnCode::TemplateFormatError, line.id + " has no valid template");
}

}  // namespace

std::vector<EnrolledPerson> readGallery(const std::string& templates, const std::string& manifest) {
  const std::string bytes = contentOf(templates);
  std::istringstream lines(contentOf(manifest));
  std::vector<EnrolledPerson> gallery;
  for (std::string text; std::getline(lines, text);) {
    const ManifestLine line = parsedLine(text);
    gallery.push_back({line.id, featuresAt(bytes, line)});
  }
  return gallery;
}

void writeGallery(const std::string& templates, const std::string& manifest,
                  const std::string& enrollmentDir) {
  try {
    constexpr auto kReplace = std::filesystem::copy_options::overwrite_existing;
    std::filesystem::copy_file(templates, enrollmentDir + kTemplates, kReplace);
    std::filesystem::copy_file(manifest, enrollmentDir + kManifest, kReplace);
  } catch (const std::filesystem::filesystem_error& error) {
    throw GalleryError(ReturnCode::EnrollDirError, error.what());
  }
}

std::vector<EnrolledPerson> openGallery(const std::string& enrollmentDir) {
  return readGallery(enrollmentDir + kTemplates, enrollmentDir + kManifest);
}

std::vector<FRVT_1N::Candidate> search(const facefeature_tools::LoadedLibrary& library,
                                       const std::vector<EnrolledPerson>& gallery,
                                       const std::vector<FeatureVector>& features,
                                       uint32_t length) {
  std::vector<FRVT_1N::Candidate> candidates;
  for (const EnrolledPerson& person : gallery) {
    if (person.features.empty()) continue;
    FRVT_1N::Candidate candidate;
    candidate.isAssigned = true;
    candidate.templateId = person.id;
    candidate.similarityScore = similarityOf(library, features, person.features);
    candidates.push_back(candidate);
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const FRVT_1N::Candidate& a, const FRVT_1N::Candidate& b) {
                     return a.similarityScore > b.similarityScore;
                   });
  candidates.resize(length);
  return candidates;
}

}  // namespace facefeature_adapter

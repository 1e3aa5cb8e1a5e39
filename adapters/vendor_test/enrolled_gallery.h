// The gallery of one-to-many tests: templates with ids, in two files of a folder.
//
// The files are copies of those that the harness hands over: the templates without gaps, and lines
// "ID LENGTH OFFSET". A template of length 0 is that of a person without a face in any image.
#ifndef FACEFEATURE_ADAPTERS_VENDOR_TEST_ENROLLED_GALLERY_H
#define FACEFEATURE_ADAPTERS_VENDOR_TEST_ENROLLED_GALLERY_H

#include <facefeature/facefeature.h>
#include <frvt1N.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/library_loader.h"

namespace facefeature_adapter {

class GalleryError : public std::runtime_error {
 public:
  GalleryError(FRVT::ReturnCode code, const std::string& text)
      : std::runtime_error(text), code_(code) {}
  FRVT::ReturnCode code() const { return code_; }

 private:
  FRVT::ReturnCode code_;
};

struct EnrolledPerson {
  std::string id;
  std::vector<FeatureVector> features;  // empty if there was no face
};

// Throws GalleryError: InputLocationError for a file that can't be read, ParseError for a manifest
// with another line, TemplateFormatError for a template that does not consist of features.
std::vector<EnrolledPerson> readGallery(const std::string& templates, const std::string& manifest);

// Copies both files into the folder. Throws GalleryError (EnrollDirError).
void writeGallery(const std::string& templates, const std::string& manifest,
                  const std::string& enrollmentDir);

// What writeGallery wrote. Throws GalleryError, as readGallery does.
std::vector<EnrolledPerson> openGallery(const std::string& enrollmentDir);

// The candidates with the highest scores in descending order, and in the order of the gallery if
// scores are equal. The list has this length: entries beyond the persons with features are not
// assigned. REQUIRES: features is not empty.
std::vector<FRVT_1N::Candidate> search(const facefeature_tools::LoadedLibrary& library,
                                       const std::vector<EnrolledPerson>& gallery,
                                       const std::vector<FeatureVector>& features, uint32_t length);

}  // namespace facefeature_adapter

#endif

// The interface of one-to-many tests.
#include <frvt1N.h>

#include <memory>
#include <optional>

#include "enrolled_gallery.h"
#include "face_templates.h"

namespace facefeature_adapter {
namespace {

using FRVT::ReturnCode;
using FRVT::ReturnStatus;

const ReturnStatus kNotInitialized(ReturnCode::ConfigError,
                                   "no initialization for this call was called");

// As statusOf(), for steps with a gallery.
ReturnStatus galleryStatusOf(const std::function<void()>& step) {
  return statusOf([&]() -> ReturnStatus {
    try {
      step();
      return ReturnCode::Success;
    } catch (const GalleryError& error) {
      return {error.code(), error.what()};
    }
  });
}

class OneToMany : public FRVT_1N::Interface {
 public:
  ReturnStatus initializeTemplateCreation(const std::string& configDir,
                                          FRVT::TemplateRole) override {
    return statusOf([&] {
      maker_ = std::make_unique<TemplateMaker>(configDir);
      return ReturnCode::Success;
    });
  }

  ReturnStatus createFaceTemplate(const std::vector<FRVT::Image>& faces, FRVT::TemplateRole,
                                  Template& templ, std::vector<FRVT::EyePair>& eyes) override {
    if (!maker_) return kNotInitialized;
    return statusOf([&] { return maker_->create(faces, templ, eyes); });
  }

  ReturnStatus createFaceTemplate(const FRVT::Image& image, FRVT::TemplateRole,
                                  std::vector<Template>& templates,
                                  std::vector<FRVT::EyePair>& eyes) override {
    if (!maker_) return kNotInitialized;
    return statusOf([&] { return maker_->createAll(image, templates, eyes); });
  }

  ReturnStatus finalizeEnrollment(const std::string&, const std::string& enrollmentDir,
                                  const std::string& edbName, const std::string& edbManifestName,
                                  FRVT_1N::GalleryType) override {
    return galleryStatusOf([&] {
      readGallery(edbName, edbManifestName);
      writeGallery(edbName, edbManifestName, enrollmentDir);
    });
  }

  // A search compares features and needs no model.
  ReturnStatus initializeIdentification(const std::string&,
                                        const std::string& enrollmentDir) override {
    return galleryStatusOf([&] {
      gallery_ = openGallery(enrollmentDir);
      library_.emplace();
    });
  }

  ReturnStatus identifyTemplate(const Template& templ, const uint32_t length,
                                std::vector<FRVT_1N::Candidate>& candidates) override {
    candidates.assign(length, FRVT_1N::Candidate());
    if (!library_) return kNotInitialized;
    return statusOf([&]() -> ReturnStatus {
      std::vector<FeatureVector> features;
      if (!featuresOf(templ, features)) return ReturnCode::VerifTemplateError;
      candidates = search(*library_, gallery_, features, length);
      return ReturnCode::Success;
    });
  }

 private:
  std::unique_ptr<TemplateMaker> maker_;
  std::optional<facefeature_tools::LoadedLibrary> library_;
  std::vector<EnrolledPerson> gallery_;
};

}  // namespace
}  // namespace facefeature_adapter

__attribute__((visibility("default"))) std::shared_ptr<FRVT_1N::Interface>
FRVT_1N::Interface::getImplementation() {
  return std::make_shared<facefeature_adapter::OneToMany>();
}

// The interface of one-to-one tests.
#include <frvt11.h>

#include <memory>

#include "face_templates.h"

namespace facefeature_adapter {
namespace {

using FRVT::ReturnCode;
using FRVT::ReturnStatus;

const ReturnStatus kNotInitialized(ReturnCode::ConfigError, "initialize() was not called");

class OneToOne : public FRVT_11::Interface {
 public:
  ReturnStatus initialize(const std::string& configDir) override {
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

  ReturnStatus matchTemplates(const Template& verification, const Template& enrolled,
                              double& similarity) override {
    similarity = -1;
    if (!maker_) return kNotInitialized;
    return statusOf([&]() -> ReturnStatus {
      std::vector<FeatureVector> a, b;
      if (!featuresOf(verification, a) || !featuresOf(enrolled, b)) {
        return ReturnCode::VerifTemplateError;
      }
      similarity = similarityOf(maker_->library(), a, b);
      return ReturnCode::Success;
    });
  }

 private:
  std::unique_ptr<TemplateMaker> maker_;
};

}  // namespace
}  // namespace facefeature_adapter

__attribute__((visibility("default"))) std::shared_ptr<FRVT_11::Interface>
FRVT_11::Interface::getImplementation() {
  return std::make_shared<facefeature_adapter::OneToOne>();
}

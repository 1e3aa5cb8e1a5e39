// NIST's interface for tests of one-to-one face recognition, written from its published description
// (frvt_structs.h).
#ifndef FRVT11_H_
#define FRVT11_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "frvt_structs.h"

namespace FRVT_11 {

class Interface {
 public:
  virtual ~Interface() = default;

  // Called once, before the harness forks. configDir is read only.
  virtual FRVT::ReturnStatus initialize(const std::string& configDir) = 0;

  // One template of one person from one image or more. eyeCoordinates gets one entry for each
  // image.
  virtual FRVT::ReturnStatus createFaceTemplate(const std::vector<FRVT::Image>& faces,
                                                FRVT::TemplateRole role,
                                                std::vector<uint8_t>& templ,
                                                std::vector<FRVT::EyePair>& eyeCoordinates) = 0;

  // A template of every face in an image.
  virtual FRVT::ReturnStatus createFaceTemplate(const FRVT::Image& image, FRVT::TemplateRole role,
                                                std::vector<std::vector<uint8_t>>& templs,
                                                std::vector<FRVT::EyePair>& eyeCoordinates) = 0;

  // similarity is -1 if a template can't be used.
  virtual FRVT::ReturnStatus matchTemplates(const std::vector<uint8_t>& verifTemplate,
                                            const std::vector<uint8_t>& enrollTemplate,
                                            double& similarity) = 0;

  static std::shared_ptr<Interface> getImplementation();
};

}  // namespace FRVT_11

#endif

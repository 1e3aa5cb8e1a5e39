// NIST's interface for tests of one-to-many face recognition, written from its published
// description (frvt_structs.h).
#ifndef FRVT1N_H_
#define FRVT1N_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "frvt_structs.h"

namespace FRVT_1N {

struct Candidate {
  bool isAssigned = false;
  std::string templateId;
  double similarityScore = 0;
};

enum class GalleryType { Consolidated = 0, Unconsolidated };

class Interface {
 public:
  virtual ~Interface() = default;

  // Called once, before the harness forks. configDir is read only.
  virtual FRVT::ReturnStatus initializeTemplateCreation(const std::string& configDir,
                                                        FRVT::TemplateRole role) = 0;

  // As in frvt11.h.
  virtual FRVT::ReturnStatus createFaceTemplate(const std::vector<FRVT::Image>& faces,
                                                FRVT::TemplateRole role,
                                                std::vector<uint8_t>& templ,
                                                std::vector<FRVT::EyePair>& eyeCoordinates) = 0;
  virtual FRVT::ReturnStatus createFaceTemplate(const FRVT::Image& image, FRVT::TemplateRole role,
                                                std::vector<std::vector<uint8_t>>& templs,
                                                std::vector<FRVT::EyePair>& eyeCoordinates) = 0;

  // Makes the gallery in enrollmentDir. edbName is a file of templates without gaps; a line of
  // edbManifestName is "ID LENGTH OFFSET" of one of them. Both files may be removed afterwards.
  virtual FRVT::ReturnStatus finalizeEnrollment(const std::string& configDir,
                                                const std::string& enrollmentDir,
                                                const std::string& edbName,
                                                const std::string& edbManifestName,
                                                GalleryType galleryType) = 0;

  // Called once, before the harness forks. Both folders are read only.
  virtual FRVT::ReturnStatus initializeIdentification(const std::string& configDir,
                                                      const std::string& enrollmentDir) = 0;

  // Fills candidateList with candidateListLength entries in descending order of score.
  virtual FRVT::ReturnStatus identifyTemplate(const std::vector<uint8_t>& idTemplate,
                                              const uint32_t candidateListLength,
                                              std::vector<Candidate>& candidateList) = 0;

  static std::shared_ptr<Interface> getImplementation();
};

}  // namespace FRVT_1N

#endif

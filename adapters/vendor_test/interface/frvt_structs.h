// The types of NIST's interface for tests of face recognition, written from its published
// description.
//
// A stand-in, so that the adapters build and are tested here. To submit an adapter, build it with
// the header of the test itself, whose folder must then come first among the include folders.
#ifndef FRVT_STRUCTS_H_
#define FRVT_STRUCTS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace FRVT {

struct Image {
  enum class Label { Unknown = 0, Iso, Mugshot, Photojournalism, Exploitation, Wild };

  Image() = default;
  Image(uint16_t width_, uint16_t height_, uint8_t depth_, std::shared_ptr<uint8_t> data_,
        Label description_)
      : width(width_),
        height(height_),
        depth(depth_),
        data(std::move(data_)),
        description(description_) {}

  // In bytes.
  size_t size() const { return size_t{width} * height * (depth / 8); }

  uint16_t width = 0;
  uint16_t height = 0;
  uint8_t depth = 24;             // bits of a pixel: 24 (red, green, blue) or 8 (gray)
  std::shared_ptr<uint8_t> data;  // rows from the top, without gaps
  Label description = Label::Unknown;
};

enum class TemplateRole { Enrollment_11 = 0, Verification_11, Enrollment_1N, Search_1N };

enum class ReturnCode {
  Success = 0,
  UnknownError,
  ConfigError,
  RefuseInput,
  ExtractError,
  ParseError,
  TemplateCreationError,
  VerifTemplateError,
  FaceDetectionError,
  NumDataError,
  TemplateFormatError,
  EnrollDirError,
  InputLocationError,
  MemoryError,
  MatchError,
  QualityAssessmentError,
  NotImplemented,
  VendorError
};

struct ReturnStatus {
  ReturnStatus() = default;
  ReturnStatus(const ReturnCode code_, const std::string& info_ = "") : code(code_), info(info_) {}

  ReturnCode code = ReturnCode::UnknownError;
  std::string info;
};

// The centres of the eyes, in pixels. Left is the left eye of the person.
struct EyePair {
  EyePair() = default;
  EyePair(bool isLeftAssigned_, bool isRightAssigned_, uint16_t xleft_, uint16_t yleft_,
          uint16_t xright_, uint16_t yright_)
      : isLeftAssigned(isLeftAssigned_),
        isRightAssigned(isRightAssigned_),
        xleft(xleft_),
        yleft(yleft_),
        xright(xright_),
        yright(yright_) {}

  bool isLeftAssigned = false;
  bool isRightAssigned = false;
  uint16_t xleft = 0;
  uint16_t yleft = 0;
  uint16_t xright = 0;
  uint16_t yright = 0;
};

}  // namespace FRVT

#endif

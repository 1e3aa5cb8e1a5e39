// Sample photographs as pictures, for programs that link the host program's reader.
#ifndef FACEFEATURE_TESTS_SUPPORT_SAMPLE_PICTURES_H
#define FACEFEATURE_TESTS_SUPPORT_SAMPLE_PICTURES_H

#include <stdexcept>
#include <string>

#include "support/pictures.h"

// The reader is part of the host program, which a build may leave out.
#if __has_include("photo/photo.h")
#include "photo/photo.h"
#define FACEFEATURE_READS_PHOTOGRAPHS 1
#else
#define FACEFEATURE_READS_PHOTOGRAPHS 0
#endif

namespace facefeature_test {

constexpr bool kReadsPhotographs = FACEFEATURE_READS_PHOTOGRAPHS == 1;

inline Picture samplePicture(const std::string& path) {
#if FACEFEATURE_READS_PHOTOGRAPHS
  const facefeature_tools::Photo photo = facefeature_tools::readPhoto(path);
  Picture picture = blankPicture(photo.width, photo.height);
  picture.storage = photo.pixels;
  return picture;
#else
  throw std::runtime_error("no reader of photographs for " + path);
#endif
}

}  // namespace facefeature_test

#endif

// facefeature_demo_pictures PHOTO LANDMARKS FOLDER NAME
//
// Writes a turned, a scaled and a darkened version of a photograph into a folder, each with its
// landmarks: NAME-turned.ppm, NAME-turned.json and so on.
#include <cstdint>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "base/failure.h"
#include "base/whole_file.h"
#include "face/landmark_file.h"
#include "photo/photo.h"
#include "picture_versions.h"

namespace {

using namespace facefeature_tools;

void writePicture(const FacePicture& picture, const std::filesystem::path& folder,
                  const std::string& name) {
  const Photo& photo = picture.photo;
  const std::string header =
      "P6\n" + std::to_string(photo.width) + " " + std::to_string(photo.height) + "\n255\n";
  std::vector<uint8_t> bytes(header.begin(), header.end());
  for (size_t i = 0; i < photo.pixels.size(); i += 3) {
    bytes.insert(bytes.end(), {photo.pixels[i + 2], photo.pixels[i + 1], photo.pixels[i]});
  }
  writeWholeFile((folder / (name + ".ppm")).string(), bytes.data(), bytes.size());

  const std::string text =
      landmarkText(name + ".ppm", photo.width, photo.height, picture.landmarks);
  writeWholeFile((folder / (name + ".json")).string(),
                 reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

}  // namespace

int main(int argc, char** argv) {
  constexpr char kVerb[] = "demo pictures";
  if (argc != 5) {
    say(kVerb, "usage: facefeature_demo_pictures PHOTO LANDMARKS FOLDER NAME");
    return kWrongUsage;
  }
  try {
    const FacePicture picture = {readPhoto(argv[1]), readLandmarkFile(argv[2]).landmarks};
    const std::string name = argv[4];
    writePicture(turned(picture, 20.0), argv[3], name + "-turned");
    writePicture(scaled(picture, 0.6), argv[3], name + "-scaled");
    writePicture(darkened(picture, 0.5), argv[3], name + "-darkened");
    return kDone;
  } catch (const Failure& failure) {
    say(kVerb, failure.what());
    return failure.code();
  } catch (const std::exception& error) {
    say(kVerb, error.what());
    return kFailed;
  }
}

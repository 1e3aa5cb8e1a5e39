// Finds faces with dlib. The only file that includes it, because its headers are slow to compile.
//
// Its configuration header comes first, and two of its settings are undone: with BLAS and LAPACK
// the program would load a second BLAS into each of its processes, which starts threads when it is
// loaded. The parts of dlib that are used here have their own loops for the little linear algebra
// they need.
#include <dlib/assert.h>
#include <dlib/test_for_odr_violations.h>
#undef DLIB_USE_BLAS
#undef DLIB_USE_LAPACK
#include <dlib/image_processing.h>
#include <dlib/image_processing/frontal_face_detector.h>
#include <dlib/image_transforms.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <tuple>

#include "base/failure.h"
#include "face/face_finder.h"

namespace facefeature_tools {
namespace {

using Picture = dlib::array2d<dlib::rgb_pixel>;

// The detector slides a window of about 80 pixels over the picture and ever smaller copies of it,
// so the size of the picture determines which faces it can find, and how long it takes.
constexpr double kShortestWorkingSide = 800.0;
constexpr double kLongestWorkingSide = 1600.0;

// Weaker detections are as often a fold of cloth as a face.
constexpr double kLowestScore = 0.5;

// The shape model returns whole pixels; enlarging the face makes that rounding small.
constexpr long kFaceSide = 600;
constexpr long kAroundFace = 300;

Picture pictureOf(const Photo& photo) {
  Picture picture(photo.height, photo.width);
  const uint8_t* pixel = photo.pixels.data();
  for (dlib::rgb_pixel& target : picture) {
    target = dlib::rgb_pixel(pixel[2], pixel[1], pixel[0]);
    pixel += 3;
  }
  return picture;
}

double workingScale(const Photo& photo) {
  const double side = std::max(photo.width, photo.height);
  if (side < kShortestWorkingSide) return kShortestWorkingSide / side;
  if (side > kLongestWorkingSide) return kLongestWorkingSide / side;
  return 1.0;
}

// The detections in pixels of the photograph.
std::vector<dlib::drectangle> boxesIn(const Picture& picture, double scale,
                                      dlib::frontal_face_detector detector) {
  std::vector<dlib::rect_detection> finds;
  const auto scaled = [scale](long side) {
    return static_cast<unsigned long>(std::max(1L, std::lround(scale * static_cast<double>(side))));
  };
  const dlib::chip_details whole(dlib::drectangle(dlib::get_rect(picture)),
                                 dlib::chip_dims(scaled(picture.nr()), scaled(picture.nc())));
  Picture working;
  if (scale != 1.0) dlib::extract_image_chip(picture, whole, working);
  detector(scale == 1.0 ? picture : working, finds, kLowestScore);

  std::vector<dlib::drectangle> boxes;
  const dlib::point_transform_affine back = dlib::inv(dlib::get_mapping_to_chip(whole));
  for (const dlib::rect_detection& find : finds) {
    const dlib::drectangle box = find.rect;
    boxes.emplace_back(back(box.tl_corner()), back(box.br_corner()));
  }
  return boxes;
}

SchemePoints pointsIn(const Picture& picture, const dlib::drectangle& box,
                      const dlib::shape_predictor& shape) {
  const double growth = static_cast<double>(kAroundFace) / kFaceSide;
  const dlib::drectangle around(
      box.left() - growth * box.width(), box.top() - growth * box.height(),
      box.right() + growth * box.width(), box.bottom() + growth * box.height());
  const unsigned long side = kFaceSide + 2 * kAroundFace;
  const dlib::chip_details details(around, dlib::chip_dims(side, side));
  Picture enlarged;
  dlib::extract_image_chip(picture, details, enlarged);
  const dlib::rectangle face(kAroundFace, kAroundFace, kAroundFace + kFaceSide - 1,
                             kAroundFace + kFaceSide - 1);
  const dlib::full_object_detection found = shape(enlarged, face);

  const dlib::point_transform_affine back = dlib::inv(dlib::get_mapping_to_chip(details));
  SchemePoints points;
  for (size_t i = 0; i < points.size(); ++i) {
    const dlib::dpoint point = back(found.part(i));
    points[i] = {point.x(), point.y()};
  }
  return points;
}

std::string shapeModelPath() {
  const char* named = std::getenv("FACEFEATURE_SHAPE_MODEL");
  return named != nullptr && *named != '\0' ? named : FACEFEATURE_SHAPE_MODEL_PATH;
}

}  // namespace

struct FaceFinder::Models {
  dlib::frontal_face_detector detector = dlib::get_frontal_face_detector();
  dlib::shape_predictor shape;
};

bool facesCanBeFound() { return true; }

std::string faceDetectorName() { return "dlib frontal_face_detector + 68 point shape predictor"; }

FaceFinder::FaceFinder() : models_(new Models) {
  const std::string path = shapeModelPath();
  const std::string remedy =
      "Install Debian's package libdlib-data, or set the "
      "environment variable FACEFEATURE_SHAPE_MODEL to a shape model with 68 points";
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Failure(kFailed, path, "the shape model can't be opened", remedy);
  try {
    dlib::deserialize(models_->shape, file);
  } catch (const dlib::error& error) {
    throw Failure(kFailed, path, std::string("is not a shape model (") + error.what() + ")",
                  remedy);
  }
  if (models_->shape.num_parts() != kSchemePoints) {
    throw Failure(kFailed, path,
                  "is a shape model of " + std::to_string(models_->shape.num_parts()) + " points",
                  remedy);
  }
}

FaceFinder::~FaceFinder() = default;

std::vector<FoundFace> FaceFinder::find(const Photo& photo) const {
  const Picture picture = pictureOf(photo);
  std::vector<dlib::drectangle> boxes = boxesIn(picture, workingScale(photo), models_->detector);
  std::sort(boxes.begin(), boxes.end(), [](const auto& a, const auto& b) {
    return std::make_tuple(-a.area(), a.top(), a.left()) <
           std::make_tuple(-b.area(), b.top(), b.left());
  });
  std::vector<FoundFace> faces;
  for (const dlib::drectangle& box : boxes) {
    FoundFace face = {box.left(), box.top(), box.right(), box.bottom(), {}, {}};
    face.points = pointsIn(picture, box, models_->shape);
    face.landmarks = landmarksFrom68(face.points);
    faces.push_back(face);
  }
  return faces;
}

}  // namespace facefeature_tools

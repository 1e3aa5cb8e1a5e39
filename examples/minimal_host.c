/* minimal_host PHOTO.ppm POINTS.txt PHOTO.ppm POINTS.txt
 *
 * Prints the score of two faces. A photograph is a binary PPM file; its points are 29 lines
 * "id x y".
 * Exit codes: 2 wrong usage, 3 an input can't be read, 4 no model in the temporary folder. */
#include <facefeature/facefeature.h>
#include <stdio.h>
#include <stdlib.h>

/* Blue, green, red; the top row first. Null if the file can't be read. */
static uint8_t* readPhoto(const char* path, int32_t* width, int32_t* height) {
  FILE* file = fopen(path, "rb");
  if (file == NULL || fscanf(file, "P6 %d %d 255%*c", width, height) != 2) return NULL;
  if (*width < 2 || *width > 10000 || *height < 2 || *height > 10000) return NULL;
  size_t pixels = (size_t)*width * (size_t)*height;
  uint8_t* bgr = malloc(3 * pixels);
  if (bgr == NULL || fread(bgr, 3, pixels, file) != pixels) return NULL;
  for (uint8_t* pixel = bgr; pixel < bgr + 3 * pixels; pixel += 3) {
    uint8_t red = pixel[0];
    pixel[0] = pixel[2];
    pixel[2] = red;
  }
  fclose(file);
  return bgr;
}

static LandmarkSet* readPoints(const char* path) {
  FILE* file = fopen(path, "r");
  LandmarkSet* face = calloc(1, sizeof(LandmarkSet) + 28 * sizeof(Landmark));
  if (file == NULL || face == NULL) return NULL;
  for (; face->count < 29; ++face->count) {
    Landmark* point = &face->entries[face->count];
    if (fscanf(file, "%d %f %f", &point->id, &point->x, &point->y) != 3) return NULL;
  }
  fclose(file);
  return face;
}

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  FeatureEngine* engine = CreateFeatureEngine();
  if (engine == NULL) return 4;
  FeatureVector features[2];
  for (int i = 0; i < 2; ++i) {
    int32_t width, height;
    uint8_t* photo = readPhoto(argv[1 + 2 * i], &width, &height);
    LandmarkSet* face = readPoints(argv[2 + 2 * i]);
    if (photo == NULL || face == NULL) return 3;
    ExtractFeature(engine, photo, width, height, 3 * width, face, features[i].values);
    free(photo);
    free(face);
  }
  printf("%.9g\n", CompareFeatures(&features[0], &features[1]));
  DestroyFeatureEngine(engine);
  return 0;
}

/*
 * The photograph of the hosts that see only the shared library, and a face on it that looks
 * straight into the camera. Plain C, for the host that is written in C.
 */
#ifndef FACEFEATURE_TESTS_HOST_PROBE_PHOTOGRAPH_H
#define FACEFEATURE_TESTS_HOST_PROBE_PHOTOGRAPH_H

#include <facefeature/facefeature.h>
#include <stdint.h>

enum {
  kPhotographWidth = 140,
  kPhotographHeight = 150,
  kPhotographStride = 3 * 140 + 5,
  kPhotographBytes = kPhotographStride * kPhotographHeight,
  kFaceLandmarks = 29
};

static const Landmark kPhotographFace[kFaceLandmarks] = {
    {0, 50.75f, 53.00f},   {1, 88.25f, 52.75f},   {2, 35.75f, 46.00f},    {3, 60.75f, 43.50f},
    {4, 79.75f, 43.25f},   {5, 104.25f, 45.75f},  {6, 70.00f, 52.75f},    {9, 70.00f, 72.50f},
    {10, 70.00f, 87.75f},  {11, 69.75f, 98.50f},  {12, 54.00f, 93.75f},   {13, 85.25f, 94.00f},
    {43, 80.00f, 76.25f},  {44, 59.50f, 75.75f},  {45, 70.50f, 92.50f},   {200, 70.00f, 80.25f},
    {221, 59.25f, 54.25f}, {222, 50.50f, 56.25f}, {223, 43.50f, 53.50f},  {225, 96.25f, 53.50f},
    {226, 88.25f, 56.25f}, {227, 79.75f, 53.75f}, {240, 25.75f, 74.25f},  {241, 114.25f, 74.25f},
    {300, 46.25f, 40.00f}, {302, 92.00f, 39.50f}, {314, 69.75f, 115.50f}, {315, 31.75f, 96.25f},
    {316, 107.50f, 96.50f}};

/* Brightness gradients with a fine pattern on top, different in each channel. */
static inline void paintPhotograph(uint8_t pixels[kPhotographBytes]) {
  int x, y;
  for (y = 0; y < kPhotographHeight; ++y) {
    for (x = 0; x < kPhotographStride; ++x) {
      const int column = x / 3, channel = x % 3;
      const int slope = column + (channel + 1) * y / 2;
      const int pattern = (column * column + 7 * channel * y + column * y / 3) % 61;
      pixels[y * kPhotographStride + x] = (uint8_t)(slope / 2 + pattern);
    }
  }
}

#endif

#include "geometry/model_points.h"

namespace facefeature {

// 29 ids have a point: 0 to 6, 9 to 13, 43 to 45, 200, 221 to 223, 225 to 227, 240, 241, 300, 302,
// 314 to 316. All others share the point of id 0. Twenty ids a line, each line with its first id.
const int32_t ModelPointIndex[kLandmarkIds] = {
    0,  1,  2,  3,  4,  5,  6,  0,  0, 7, 8, 9, 10, 11, 0,  0,  0,  0, 0, 0,  //   0
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  //  20
    0,  0,  0,  12, 13, 14, 0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  //  40
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  //  60
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  //  80
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 100
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 120
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 140
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 160
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 180
    15, 0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 200
    0,  16, 17, 18, 0,  19, 20, 21, 0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 220
    22, 23, 0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 240
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 260
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // 280
    24, 0,  25, 0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  26, 27, 28, 0,        // 300
};

const float ModelPoints[kModelPointCount][3] = {
    {-3.227f, -3.484f, 9.589f},    // 0: eye centre at image left
    {3.05f, -3.546f, 9.59f},       // 1: eye centre at image right
    {-5.7f, -4.652f, 8.292f},      // 2: left brow, outer end
    {-1.549f, -5.085f, 10.83f},    // 3: left brow, inner end
    {1.612f, -5.106f, 10.83f},     // 4: right brow, inner end
    {5.705f, -4.704f, 8.148f},     // 5: right brow, outer end
    {-0.0185f, -3.543f, 11.07f},   // 6: bridge of the nose, between the eyes
    {0.01795f, -0.2319f, 13.32f},  // 9: tip of the nose
    {-0.02015f, 2.274f, 11.62f},   // 10: upper lip, upper edge
    {-0.04147f, 4.102f, 11.41f},   // 11: lower lip, lower edge
    {-2.673f, 3.301f, 10.002f},    // 12: left corner of the mouth
    {2.528f, 3.315f, 9.962f},      // 13: right corner of the mouth
    {1.661f, 0.3568f, 10.66f},     // 43: right nostril wing
    {-1.74f, 0.2793f, 10.69f},     // 44: left nostril wing
    {0.07737f, 3.101f, 11.32f},    // 45: middle of the mouth
    {-0.01402f, 1.045f, 11.69f},   // 200: base of the nose
    {-1.782f, -3.277f, 9.267f},    // 221: left eye, inner corner
    {-3.255f, -2.946f, 9.531f},    // 222: left eye, lower lid
    {-4.436f, -3.397f, 8.747f},    // 223: left eye, outer corner
    {4.376f, -3.418f, 8.762f},     // 225: right eye, outer corner
    {3.056f, -2.961f, 9.522f},     // 226: right eye, lower lid
    {1.626f, -3.367f, 9.263f},     // 227: right eye, inner corner
    {-7.386f, 0.05087f, 1.039f},   // 240: left side of the head
    {7.377f, 0.0564f, 1.298f},     // 241: right side of the head
    {-3.956f, -5.678f, 10.06f},    // 300: left brow, top
    {3.664f, -5.768f, 10.18f},     // 302: right brow, top
    {-0.0435f, 6.917f, 10.75f},    // 314: front of the chin
    {-6.365f, 3.718f, 3.913f},     // 315: left side of the jaw
    {6.252f, 3.752f, 3.822f},      // 316: right side of the jaw
};

}  // namespace facefeature

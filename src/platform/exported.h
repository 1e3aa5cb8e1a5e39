// Marks a function that the library exports under its C name.
#ifndef FACEFEATURE_PLATFORM_EXPORTED_H
#define FACEFEATURE_PLATFORM_EXPORTED_H

#if defined(_WIN32)
// engine/exports.def lists the exports by ordinal. A mark in the code would export the name too.
#define FACEFEATURE_EXPORTED extern "C"
#else
// engine/exports.map lists the exports; everything else is hidden.
#define FACEFEATURE_EXPORTED extern "C" __attribute__((visibility("default")))
#endif

#endif

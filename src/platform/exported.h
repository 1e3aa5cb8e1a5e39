// How a function is marked that leaves the library under its C name.
#ifndef FACEFEATURE_PLATFORM_EXPORTED_H
#define FACEFEATURE_PLATFORM_EXPORTED_H

#if defined(_WIN32)
// engine/exports.def lists what leaves, by number. A mark in the code would export the name too.
#define FACEFEATURE_EXPORTED extern "C"
#else
// engine/exports.map lists what leaves; all else is hidden.
#define FACEFEATURE_EXPORTED extern "C" __attribute__((visibility("default")))
#endif

#endif

// <windows.h> without the macros that collide with names elsewhere. Empty on other systems.
#ifndef FACEFEATURE_TESTS_SUPPORT_WINDOWS_HEADER_H
#define FACEFEATURE_TESTS_SUPPORT_WINDOWS_HEADER_H

#if defined(_WIN32)
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>
#undef near
#undef far
#endif

#endif

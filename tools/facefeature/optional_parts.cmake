# The parts of the program that are built where their library is found.
#
# Each has a setting: AUTO (as found), ON (an error where it is not found) or OFF. The result is
# FACEFEATURE_HAS_<part>. The names behind the packages are those of what must have been found.
function(facefeature_optional_part part what packages)
  set(found ON)
  foreach(needed IN LISTS ARGN)
    if(NOT ${needed})
      set(found OFF)
    endif()
  endforeach()
  set(FACEFEATURE_WITH_${part} AUTO CACHE STRING "${what} (AUTO, ON or OFF)")
  set_property(CACHE FACEFEATURE_WITH_${part} PROPERTY STRINGS AUTO ON OFF)
  set(wanted ${FACEFEATURE_WITH_${part}})
  if(wanted STREQUAL "AUTO")
    set(wanted ${found})
  elseif(wanted AND NOT found)
    message(FATAL_ERROR "${what}: the library was not found. On Debian: apt-get install ${packages}")
  endif()
  if(wanted)
    set(FACEFEATURE_HAS_${part} ON PARENT_SCOPE)
    message(STATUS "${what}: built")
  else()
    set(FACEFEATURE_HAS_${part} OFF PARENT_SCOPE)
    message(STATUS "${what}: not built (on Debian it needs ${packages})")
  endif()
endfunction()

find_path(CAIRO_INCLUDE_DIR cairo.h PATH_SUFFIXES cairo)
find_library(CAIRO_LIBRARY cairo)
facefeature_optional_part(CAIRO "Drawing faces" libcairo2-dev CAIRO_INCLUDE_DIR CAIRO_LIBRARY)

find_path(EXIF_INCLUDE_DIR libexif/exif-data.h)
find_library(EXIF_LIBRARY exif)
facefeature_optional_part(LIBEXIF "Reading Exif data" libexif-dev EXIF_INCLUDE_DIR EXIF_LIBRARY)

# The archive, of which little is used. The shared library of Debian brings BLAS and LAPACK.
find_path(DLIB_INCLUDE_DIR dlib/image_processing/frontal_face_detector.h)
find_library(DLIB_ARCHIVE NAMES libdlib.a dlib)
find_file(FACEFEATURE_SHAPE_MODEL shape_predictor_68_face_landmarks.dat
          PATHS /usr/share/dlib /usr/local/share/dlib
          DOC "Shape model of 68 points, looked for here when the program runs")
facefeature_optional_part(DLIB "Finding landmarks" "libdlib-dev libdlib-data"
                          DLIB_INCLUDE_DIR DLIB_ARCHIVE FACEFEATURE_SHAPE_MODEL)

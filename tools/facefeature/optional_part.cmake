# facefeature_optional_part(PART WHAT PACKAGES VARIABLE...): a part of the program that is built
# only if its library is found, that is, if every VARIABLE is set.
#
# The setting FACEFEATURE_WITH_<part> is AUTO (build it if the library is found), ON (an error if
# the library is missing) or OFF. The result is FACEFEATURE_HAS_<part> in the calling room.
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

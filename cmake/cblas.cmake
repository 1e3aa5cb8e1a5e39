# Defines facefeature_cblas: OpenBLAS in its OpenMP flavour, linked statically.
#
# The flavour matters. Inside an OpenMP loop this one computes on the calling thread and locks its
# buffers. The flavour without threads returns wrong numbers when several threads call it at once,
# and the one with threads of its own would start them inside the loop. Static, because a host may
# have another OpenBLAS loaded, with settings of its own.
#
# On Windows it is another flavour, which computes on the calling thread wherever it is called and
# locks its buffers: tools/get-windows-packages builds it for MinGW. With MSVC, OpenBLAS is looked for
# as a package of CMake's, under the name that it gives itself, and must have been built so too
# (USE_THREAD=0 and USE_LOCKING=1).
if(WIN32)
  include(cblas_windows)
  return()
endif()
find_package(OpenMP REQUIRED COMPONENTS CXX)

find_path(FACEFEATURE_CBLAS_INCLUDE cblas.h PATH_SUFFIXES openblas-openmp
          HINTS /usr/include/${CMAKE_LIBRARY_ARCHITECTURE})
find_library(FACEFEATURE_CBLAS_LIBRARY NAMES libopenblas.a PATH_SUFFIXES openblas-openmp)
if(NOT FACEFEATURE_CBLAS_INCLUDE OR NOT FACEFEATURE_CBLAS_LIBRARY)
  message(FATAL_ERROR "OpenBLAS in its OpenMP flavour was not found. "
                      "On Debian: apt-get install libopenblas-openmp-dev")
endif()

add_library(facefeature_cblas INTERFACE)
target_include_directories(facefeature_cblas SYSTEM INTERFACE ${FACEFEATURE_CBLAS_INCLUDE})
target_link_libraries(facefeature_cblas INTERFACE ${FACEFEATURE_CBLAS_LIBRARY} OpenMP::OpenMP_CXX
                      m ${CMAKE_DL_LIBS})

# The folder of one flavour is looked at first, but another flavour may lie where this one is not.
# Asking it is the only way to tell, and a wrong one gives wrong features now and then.
if(NOT CMAKE_CROSSCOMPILING)
  include(CheckCXXSourceRuns)
  set(CMAKE_REQUIRED_INCLUDES ${FACEFEATURE_CBLAS_INCLUDE})
  set(CMAKE_REQUIRED_LIBRARIES ${FACEFEATURE_CBLAS_LIBRARY} OpenMP::OpenMP_CXX m)
  check_cxx_source_runs("
    #include <cblas.h>
    int main() { return openblas_get_parallel() == OPENBLAS_OPENMP ? 0 : 1; }"
    FACEFEATURE_CBLAS_IS_OPENMP_FLAVOUR)
  unset(CMAKE_REQUIRED_INCLUDES)
  unset(CMAKE_REQUIRED_LIBRARIES)
  if(NOT FACEFEATURE_CBLAS_IS_OPENMP_FLAVOUR)
    message(FATAL_ERROR "${FACEFEATURE_CBLAS_LIBRARY} is not OpenBLAS in its OpenMP flavour. "
                        "On Debian: apt-get install libopenblas-openmp-dev")
  endif()
endif()

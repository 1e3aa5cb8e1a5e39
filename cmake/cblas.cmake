# Defines facefeature_cblas: OpenBLAS in its OpenMP flavour, linked statically.
#
# The flavour matters. Inside an OpenMP loop this one computes on the calling thread and locks its
# buffers. The flavour without threads returns wrong numbers when several threads call it at once,
# and the one with threads of its own would start them inside the loop. Static, because a host may
# have another OpenBLAS loaded, with settings of its own.
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

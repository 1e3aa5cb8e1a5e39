# Defines facefeature_cblas on Windows. See cblas.cmake.
add_library(facefeature_cblas INTERFACE)
if(MINGW)
  # Plain flags: the target of CMake's package would bring the DLL of the runtime along. The compiler's
  # own runtimes go into each program and DLL, so that KERNEL32 and msvcrt are all that it asks for.
  target_compile_options(facefeature_cblas INTERFACE -fopenmp)
  target_link_options(facefeature_cblas INTERFACE -fopenmp -static)
else()
  find_package(OpenMP REQUIRED COMPONENTS CXX)
  target_link_libraries(facefeature_cblas INTERFACE OpenMP::OpenMP_CXX)
endif()

find_package(OpenBLAS CONFIG QUIET)
if(TARGET OpenBLAS::OpenBLAS)
  target_link_libraries(facefeature_cblas INTERFACE OpenBLAS::OpenBLAS)
  return()
endif()
find_path(FACEFEATURE_CBLAS_INCLUDE cblas.h PATH_SUFFIXES openblas)
find_library(FACEFEATURE_CBLAS_LIBRARY NAMES openblas)
if(NOT FACEFEATURE_CBLAS_INCLUDE OR NOT FACEFEATURE_CBLAS_LIBRARY)
  message(FATAL_ERROR "OpenBLAS was not found. From Linux: tools/get-windows-packages. On Windows: "
                      "build it with USE_THREAD=0 and USE_LOCKING=1, and set CMAKE_PREFIX_PATH")
endif()
target_include_directories(facefeature_cblas SYSTEM INTERFACE ${FACEFEATURE_CBLAS_INCLUDE})
target_link_libraries(facefeature_cblas INTERFACE ${FACEFEATURE_CBLAS_LIBRARY})

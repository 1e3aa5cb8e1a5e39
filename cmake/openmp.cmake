# Defines facefeature_openmp: the OpenMP runtime of the compiler.
add_library(facefeature_openmp INTERFACE)
if(MINGW)
  # Plain flags, because the target of CMake's package would link the runtime as a DLL. Each program
  # and DLL contains the compiler's runtimes and needs only KERNEL32 and msvcrt.
  target_compile_options(facefeature_openmp INTERFACE -fopenmp)
  target_link_options(facefeature_openmp INTERFACE -fopenmp -static)
else()
  find_package(OpenMP REQUIRED COMPONENTS CXX)
  target_link_libraries(facefeature_openmp INTERFACE OpenMP::OpenMP_CXX)
  if(UNIX)
    target_link_libraries(facefeature_openmp INTERFACE m ${CMAKE_DL_LIBS})
  endif()
endif()

# Files and destinations of "cmake --install": the libraries, their headers with the files that CMake and
# pkg-config need to find them, the host program, the Python package, and the documents. Each
# component is a package (packages.cmake); an install without a component installs all of them.
if(WIN32)
  # On Windows the package is a folder with all files (windows_package.cmake).
  return()
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The libraries: the files that programs load, and the names without a version for linking.
install(TARGETS facefeature facefeature_batch EXPORT facefeatureTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/facefeature/facefeature.h
              ${PROJECT_SOURCE_DIR}/include/facefeature/batch.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/facefeature COMPONENT dev)

# find_package(facefeature) and its target facefeature::facefeature. The version is that of the
# interface: a program built against 1.0 works with any 1.x.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/facefeature)
install(EXPORT facefeatureTargets NAMESPACE facefeature:: DESTINATION ${package_dir} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/facefeatureConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/install/facefeatureConfig.cmake
                              INSTALL_DESTINATION ${package_dir}
                              NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/install/facefeatureConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/install/facefeatureConfig.cmake
              ${PROJECT_BINARY_DIR}/install/facefeatureConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT dev)

# pkg-config. The prefix is derived from the location of the file, so that the tree can be moved.
file(RELATIVE_PATH FACEFEATURE_PREFIX_FROM_PKGCONFIG
     ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" FACEFEATURE_PREFIX_FROM_PKGCONFIG
       "${FACEFEATURE_PREFIX_FROM_PKGCONFIG}")
function(facefeature_install_pkg_config name description)
  set(FACEFEATURE_PC_NAME ${name})
  set(FACEFEATURE_PC_DESCRIPTION ${description})
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/library.pc.in
                 ${PROJECT_BINARY_DIR}/install/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/install/${name}.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endfunction()
facefeature_install_pkg_config(facefeature "${PROJECT_DESCRIPTION}")
facefeature_install_pkg_config(facefeature_batch
                               "Features of up to 16 faces in one pass over the model")

if(TARGET facefeature_program)
  install(TARGETS facefeature_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/completion/facefeature
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
endif()

# The program in bin/ and the Python package look for the model here.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/models/portraits
        DESTINATION ${CMAKE_INSTALL_DATADIR}/facefeature/models COMPONENT model)

# Where Debian's Python looks below /usr. The path has no Python version, because the package is
# pure Python.
set(FACEFEATURE_PYTHON_DIR lib/python3/dist-packages CACHE STRING
    "Folder for the Python package, below the prefix")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/facefeature DESTINATION ${FACEFEATURE_PYTHON_DIR}
        COMPONENT python3 FILES_MATCHING PATTERN "*.py" PATTERN "py.typed"
        PATTERN "__pycache__" EXCLUDE PATTERN "training" EXCLUDE)
# The training kit is a separate package, because it needs PyTorch.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/facefeature/training
        DESTINATION ${FACEFEATURE_PYTHON_DIR}/facefeature COMPONENT python3training
        FILES_MATCHING PATTERN "*.py" PATTERN "*.js" PATTERN "__pycache__" EXCLUDE)

# The documents, and the examples to which they refer. Debian's packages install the licence under
# another name.
file(GLOB book ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${book} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)
install(FILES ${PROJECT_SOURCE_DIR}/examples/minimal_host.c
              ${PROJECT_SOURCE_DIR}/examples/python/first_hour.py
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT tools)
file(GLOB batch_examples ${PROJECT_SOURCE_DIR}/examples/batch/*.sh ${PROJECT_SOURCE_DIR}/examples/batch/*.py)
install(PROGRAMS ${batch_examples}
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/batch COMPONENT tools)
file(GLOB engine_examples ${PROJECT_SOURCE_DIR}/examples/engines/*_search.*
     ${PROJECT_SOURCE_DIR}/examples/engines/rescore.py)
install(PROGRAMS ${engine_examples}
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/engines COMPONENT tools)
install(FILES ${PROJECT_SOURCE_DIR}/examples/engines/engine_forms.py
              ${PROJECT_SOURCE_DIR}/examples/engines/engine_forms.mjs
              ${PROJECT_SOURCE_DIR}/examples/engines/package.json
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/engines COMPONENT tools)
if(NOT FACEFEATURE_DEBIAN_PACKAGES)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR}
          COMPONENT library)
endif()

include(man_pages)
include(packages)

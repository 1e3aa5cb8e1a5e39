# The Debian packages, one per component. tools/packages builds them in a build folder of its own;
# other builds don't use these rules.
option(FACEFEATURE_DEBIAN_PACKAGES "Let CPack make Debian packages (tools/packages does)" OFF)
if(NOT FACEFEATURE_DEBIAN_PACKAGES)
  return()
endif()
set(FACEFEATURE_MAINTAINER "facefeature maintainers <maintainers@facefeature.example>" CACHE STRING
    "Whom the Debian packages name as their maintainer")

set(library_package libfacefeature1)
set(dev_package libfacefeature-dev)
set(tools_package facefeature)
set(python3_package python3-facefeature)
set(python3training_package python3-facefeature-training)
set(model_package facefeature-model-portraits)
set(components library dev tools python3 python3training model)
if(CMAKE_CROSSCOMPILING)
  # The program needs libraries of the other processor that this machine does not have, and the rest
  # is the same for all processors.
  set(components library dev)
  # CPack would ask dpkg for the processor of this machine.
  if(NOT CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    message(FATAL_ERROR "no Debian architecture is known for ${CMAKE_SYSTEM_PROCESSOR}")
  endif()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()

# The documents. If a package contains machine code of another package, its copyright file quotes
# that package's notice, as the licence demands: header-only packages in the program, and dlib if it
# is built in.
set(compiled_in_tools libcli11-dev nlohmann-json3-dev)
if(FACEFEATURE_BUILD_TOOLS)
  get_directory_property(has_dlib DIRECTORY ${PROJECT_SOURCE_DIR}/tools/facefeature/face
                         DEFINITION FACEFEATURE_HAS_DLIB)
  if(has_dlib)
    list(APPEND compiled_in_tools libdlib-dev)
  endif()
endif()
string(TIMESTAMP FACEFEATURE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(documents ${PROJECT_BINARY_DIR}/debian)
foreach(component ${components})
  set(FACEFEATURE_PACKAGE ${${component}_package})
  file(READ ${PROJECT_SOURCE_DIR}/LICENSE copyright)
  foreach(part ${compiled_in_${component}})
    set(notice /usr/share/doc/${part}/copyright)
    if(NOT EXISTS ${notice})
      message(FATAL_ERROR "${notice} is wanted: its words go into the package")
    endif()
    file(READ ${notice} text)
    string(APPEND copyright "\nThis package holds machine code from ${part}, whose copyright file "
                            "says:\n\n${text}")
  endforeach()
  set(folder ${documents}/${FACEFEATURE_PACKAGE})
  file(WRITE ${folder}/copyright "${copyright}")
  configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${folder}/changelog.Debian @ONLY)
  configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${folder}/changelog COPYONLY)
  # Without file name and time, so that the same content gives the same bytes.
  execute_process(COMMAND gzip -9nf ${folder}/changelog ${folder}/changelog.Debian
                  COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${folder}/copyright ${folder}/changelog.gz ${folder}/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${FACEFEATURE_PACKAGE} COMPONENT ${component})
endforeach()

# Debian requires compressed manual pages; other installs keep them uncompressed.
foreach(section man1:tools man3:dev)
  string(REPLACE ":" ";" section ${section})
  list(POP_FRONT section folder)
  set(pages "\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/${folder}/*.[13]")
  install(CODE "file(GLOB pages \"${pages}\")
                execute_process(COMMAND gzip -9nf \${pages} COMMAND_ERROR_IS_FATAL ANY)"
          COMPONENT ${section})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME facefeature)
set(CPACK_PACKAGE_CONTACT "${FACEFEATURE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
    GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(same_library "${library_package} (= ${version})")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
if(CMAKE_CROSSCOMPILING)
  # CPack cannot show dpkg-shlibdeps the libraries of another processor; tools/packages can.
  set(FACEFEATURE_LIBRARY_DEPENDS "" CACHE STRING "Dependencies of the library's package")
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "${FACEFEATURE_LIBRARY_DEPENDS}")
else()
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
endif()
# CPack can generate the first file, but would then also call ldconfig from scripts, where Debian
# uses a trigger.
file(WRITE ${documents}/shlibs "libfacefeature 1 ${library_package} (>= ${PROJECT_VERSION})\n"
     "libfacefeature_batch 1 ${library_package} (>= ${PROJECT_VERSION})\n")
file(WRITE ${documents}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${documents}/shlibs ${documents}/triggers)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "A photograph and the landmarks of a face in, 502 floats out; two such vectors
in, a score out. The library runs on the processor inside its host's process
and reads its model from a folder. It does not find faces. A second library
computes the features of several faces at a time.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${dev_package})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${same_library}")
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "The headers of the libraries, with what CMake and pkg-config need to find them,
and the manual pages of the four functions.")

# The program loads the libraries by name, which no tool detects.
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${tools_package})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${same_library}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS ${model_package})
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "Extracts features from photographs, compares them, and makes and checks
folders of model files.")

set(CPACK_DEBIAN_PYTHON3_PACKAGE_NAME ${python3_package})
set(CPACK_DEBIAN_PYTHON3_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON3_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON3_PACKAGE_DEPENDS
    "python3 (>= 3.11), python3-numpy, ${library_package} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON3_PACKAGE_RECOMMENDS ${model_package})
set(CPACK_COMPONENT_PYTHON3_DESCRIPTION
    "A module over the library, with numpy arrays in and out: extraction, scores of
pairs and of whole sets, and files of many features.")

set(CPACK_DEBIAN_PYTHON3TRAINING_PACKAGE_NAME ${python3training_package})
set(CPACK_DEBIAN_PYTHON3TRAINING_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON3TRAINING_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON3TRAINING_PACKAGE_DEPENDS
    "python3 (>= 3.11), ${python3_package} (= ${version}), python3-numpy, python3-torch, python3-pil, python3-scipy")
set(CPACK_DEBIAN_PYTHON3TRAINING_PACKAGE_SUGGESTS "${tools_package}, python3-matplotlib")
set(CPACK_COMPONENT_PYTHON3TRAINING_DESCRIPTION
    "The training kit: from photographs of faces and the names of people to a folder
of model files, and from such a folder to projections fitted to a user's own
photographs.")

set(CPACK_DEBIAN_MODEL_PACKAGE_NAME ${model_package})
set(CPACK_DEBIAN_MODEL_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_MODEL_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_MODEL_DESCRIPTION
    "A trained model of 303 files, which the program and the Python module use if
no other is named. MODEL.md beside the files says what it was trained on, how
often it errs, and what it must not be used for.")

include(CPack)

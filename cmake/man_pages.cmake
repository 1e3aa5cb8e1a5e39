# Manual pages. Those of the functions are written by hand (docs/man). Those of the program are
# generated from its help texts, one per verb, so that they include new verbs and options.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man3
        COMPONENT dev FILES_MATCHING PATTERN "*.3")

find_program(FACEFEATURE_HELP2MAN help2man)
if(NOT TARGET facefeature_program OR CMAKE_CROSSCOMPILING)
  return()
endif()
if(NOT FACEFEATURE_HELP2MAN)
  message(STATUS "help2man was not found: no manual pages of the program")
  return()
endif()
add_custom_command(
  OUTPUT ${PROJECT_BINARY_DIR}/man1/facefeature.1
  COMMAND ${PROJECT_SOURCE_DIR}/tools/man-pages $<TARGET_FILE:facefeature_program>
          ${PROJECT_BINARY_DIR}/man1
  DEPENDS facefeature_program ${PROJECT_SOURCE_DIR}/tools/man-pages
          ${PROJECT_SOURCE_DIR}/docs/man/facefeature.h2m)
add_custom_target(man_pages ALL DEPENDS ${PROJECT_BINARY_DIR}/man1/facefeature.1)
install(DIRECTORY ${PROJECT_BINARY_DIR}/man1/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
        COMPONENT tools)

# The ZIP package for hosts on Windows: cmake --build --preset windows --target package.
#
# Linkers other than MinGW's create their import libraries from the lists of exports.
install(TARGETS facefeature facefeature_batch
        RUNTIME DESTINATION . COMPONENT windows_host
        ARCHIVE DESTINATION lib COMPONENT windows_host)
install(FILES ${PROJECT_SOURCE_DIR}/src/engine/exports.def DESTINATION lib RENAME facefeature.def
        COMPONENT windows_host)
install(FILES ${PROJECT_SOURCE_DIR}/src/engine/batch_exports.def DESTINATION lib
        RENAME facefeature_batch.def COMPONENT windows_host)
install(FILES ${PROJECT_SOURCE_DIR}/include/facefeature/facefeature.h
              ${PROJECT_SOURCE_DIR}/include/facefeature/batch.h
        DESTINATION include/facefeature COMPONENT windows_host)
install(FILES ${PROJECT_SOURCE_DIR}/docs/windows.md DESTINATION . RENAME README.md
        COMPONENT windows_host)
if(TARGET facefeature_program)
  install(TARGETS facefeature_program RUNTIME DESTINATION . COMPONENT windows_host)
endif()
# The program looks for its model in its own folder.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/models/portraits DESTINATION models COMPONENT windows_host)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME facefeature)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_SYSTEM_NAME windows-x86_64)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_COMPONENTS_ALL windows_host)
include(CPack)

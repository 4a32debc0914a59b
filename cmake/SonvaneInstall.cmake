# What a C++ module's build expects: headers, import libraries, DLLs and a
# CMake package, so that it says
#   find_package(libSonvane CONFIG REQUIRED)
#   target_link_libraries(mymodule PRIVATE libSonvane::libSonvane)
# and is done. The simulator ships as libSonvane::simulator for module tests.
include(CMakePackageConfigHelpers)

set(SONVANE_INCLUDE_DEST ${CMAKE_INSTALL_INCLUDEDIR}/libSonvane)
set(SONVANE_CMAKE_DEST ${CMAKE_INSTALL_LIBDIR}/cmake/libSonvane)

set(install_targets marlbase)
if(TARGET sonvane)
  list(APPEND install_targets sonvane)
endif()
if(TARGET sonvane_simulator)
  list(APPEND install_targets sonvane_simulator)
  set_target_properties(sonvane_simulator PROPERTIES EXPORT_NAME simulator)
endif()
set_target_properties(marlbase PROPERTIES EXPORT_NAME marlbase)
if(TARGET sonvane)
  set_target_properties(sonvane PROPERTIES EXPORT_NAME libSonvane)
endif()

install(TARGETS ${install_targets} EXPORT libSonvaneTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${SONVANE_INCLUDE_DEST})

# Headers keep the folder names they are included by (<orv/...>,
# <libSonvane/...>, <COM/...>, <libTrelwave/...>, <platform/...>, <audiosim/...>).
install(DIRECTORY common/src/libMarlbase/
        DESTINATION ${SONVANE_INCLUDE_DEST} FILES_MATCHING PATTERN "*.h" PATTERN "orvarray" EXCLUDE)
install(DIRECTORY common/src/libMarlbase/orvarray/orv DESTINATION ${SONVANE_INCLUDE_DEST} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY platform/platform DESTINATION ${SONVANE_INCLUDE_DEST} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY modules/src/windows/common/ DESTINATION ${SONVANE_INCLUDE_DEST} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY pcm/ DESTINATION ${SONVANE_INCLUDE_DEST} FILES_MATCHING PATTERN "*.h")
if(TARGET sonvane_simulator)
  install(DIRECTORY simulator/include/ DESTINATION ${SONVANE_INCLUDE_DEST} FILES_MATCHING PATTERN "*.h")
  install(DIRECTORY simulator/machines/ DESTINATION ${CMAKE_INSTALL_DATADIR}/libSonvane/machines)
endif()

install(EXPORT libSonvaneTargets NAMESPACE libSonvane:: DESTINATION ${SONVANE_CMAKE_DEST})
configure_package_config_file(cmake/libSonvaneConfig.cmake.in
  ${CMAKE_BINARY_DIR}/libSonvaneConfig.cmake INSTALL_DESTINATION ${SONVANE_CMAKE_DEST})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/libSonvaneConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/libSonvaneConfig.cmake ${CMAKE_BINARY_DIR}/libSonvaneConfigVersion.cmake
  DESTINATION ${SONVANE_CMAKE_DEST})

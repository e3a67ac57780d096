# Installs the library, its public headers, a CMake package (namespace HalcyonTelemetry::)
# and a pkg-config file. On a host the stand-in platform libraries are installed beside it,
# since the public headers and the library depend on them.
include(CMakePackageConfigHelpers)

set(TELEMETRY_PACKAGE HalcyonTelemetry)
set(TELEMETRY_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/${TELEMETRY_PACKAGE})

set(_installed_targets telemetrysettings)
foreach(t ${TELEMETRY_PLATFORM_LIBS})
  list(APPEND _installed_targets ${t})
endforeach()

install(TARGETS ${_installed_targets}
  EXPORT ${TELEMETRY_PACKAGE}Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Public headers only: each subsystem's include/ folder holds them under their include paths
# (<telemetry/historystore/HistoryStore.h>, ...); internal headers beside the sources are not
# installed.
foreach(dir . telemetry/settingsmanager telemetry/historystore deviceconfig deviceconfig/aidl sysprop
    settingsmodule)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${dir}/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
endforeach()
# Host stand-in headers: the platform's own headers on a device.
foreach(standin binder properties loader keyvalue wrenlogger)
  if(EXISTS ${PROJECT_SOURCE_DIR}/host/${standin}/include)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/host/${standin}/include/
      DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
  endif()
endforeach()

install(EXPORT ${TELEMETRY_PACKAGE}Targets
  NAMESPACE ${TELEMETRY_PACKAGE}::
  DESTINATION ${TELEMETRY_CMAKE_DIR})
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/templates/PackageConfig.cmake.in
  ${PROJECT_BINARY_DIR}/${TELEMETRY_PACKAGE}Config.cmake
  INSTALL_DESTINATION ${TELEMETRY_CMAKE_DIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/${TELEMETRY_PACKAGE}ConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/${TELEMETRY_PACKAGE}Config.cmake
  ${PROJECT_BINARY_DIR}/${TELEMETRY_PACKAGE}ConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/AndroidHostLibraries.cmake
  DESTINATION ${TELEMETRY_CMAKE_DIR})

set(TELEMETRY_PC_PLATFORM_LIBS "")
foreach(t ${TELEMETRY_PLATFORM_LIBS})
  get_target_property(_out ${t} OUTPUT_NAME)
  if(NOT _out)
    set(_out ${t})
  endif()
  string(APPEND TELEMETRY_PC_PLATFORM_LIBS " -l${_out}")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/templates/halcyon-telemetry.pc.in
  ${PROJECT_BINARY_DIR}/halcyon-telemetry.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/halcyon-telemetry.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

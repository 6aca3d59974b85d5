# Where programs and libraries stand, built and installed: programs in bin, libraries in lib. The build tree has the shape
# of the installed one, so one run-time search path serves both, and either may be moved.
set(CMAKE_INSTALL_LIBDIR lib CACHE STRING "Folder of the libraries below the prefix")
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_BINDIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/archive)
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN" "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

# `find_package(qfcore)` gives a program the targets qfcore::qfcore and qfcore::tessel.
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/qfcore)
install(EXPORT qfcoreTargets NAMESPACE qfcore:: DESTINATION ${package_folder})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/qfcoreConfig.cmake.in ${CMAKE_BINARY_DIR}/qfcoreConfig.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/qfcoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/qfcoreConfig.cmake ${CMAKE_BINARY_DIR}/qfcoreConfigVersion.cmake
  DESTINATION ${package_folder})

# Installs one shared library and makes it part of the exported package under `exported_name`.
function(install_library target exported_name)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${exported_name})
  install(TARGETS ${target} EXPORT qfcoreTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()

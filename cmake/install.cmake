# Where programs and libraries stand, built and installed: programs in bin, libraries in lib. The build tree has the shape
# of the installed one, so one run-time search path serves both, and either may be moved. The variables are those of this
# folder and of the ones below: a project that adds this one keeps its own.
if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_INSTALL_LIBDIR lib CACHE STRING "Folder of the libraries below the prefix")
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_BINDIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/archive)
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN" "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

# `find_package(qfcore)` gives a program the targets qfcore::qfcore and qfcore::tessel, and so does adding the project;
# `pkg-config qfcore` gives the flags of the first.
if(QFCORE_INSTALL)
  set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/qfcore)
  install(EXPORT qfcoreTargets NAMESPACE qfcore:: DESTINATION ${package_folder} COMPONENT dev)
  configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/qfcoreConfig.cmake.in ${PROJECT_BINARY_DIR}/qfcoreConfig.cmake
    INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/qfcoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/qfcoreConfig.cmake ${PROJECT_BINARY_DIR}/qfcoreConfigVersion.cmake
    DESTINATION ${package_folder} COMPONENT dev)
  set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH prefix_from_pkgconfig /prefix/${pkgconfig_folder} /prefix)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/qfcore.pc.in ${PROJECT_BINARY_DIR}/qfcore.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/qfcore.pc DESTINATION ${pkgconfig_folder} COMPONENT dev)
endif()

# A shared library that programs link as qfcore::`exported_name`. Before version 1 a minor version may change what programs
# were compiled with, so it is part of the name that they ask the system for.
function(publish_library target exported_name)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${exported_name}
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  add_library(qfcore::${exported_name} ALIAS ${target})
  if(QFCORE_INSTALL)
    install(TARGETS ${target} EXPORT qfcoreTargets
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT lib${exported_name} NAMELINK_COMPONENT dev
      INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  endif()
endfunction()

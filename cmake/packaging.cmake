# Debian packages: `cpack` in the build tree, or `make package`. What is installed anyway is parted into components, one a
# package; what packages have besides, `package_files` makes.
set(QFCORE_MAINTAINER "The qfcore authors <maintainers@qfcore.invalid>" CACHE STRING "Who answers for the packages")
set(package_files ${PROJECT_BINARY_DIR}/package_files)
string(TIMESTAMP package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${CMAKE_CURRENT_LIST_DIR}/package/changelog.in ${package_files}/changelog @ONLY)
file(READ ${PROJECT_SOURCE_DIR}/LICENSE license)
string(REGEX REPLACE "^.*\n\n(Permission)" "\\1" license "${license}")
string(REPLACE "\n\n" "\n.\n" license "${license}")
string(REGEX REPLACE "\n(.)" "\n \\1" license " ${license}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/package/copyright.in ${package_files}/copyright @ONLY)
add_custom_target(package_files DEPENDS tessel qfcore
  COMMAND help2man --no-info --no-discard-stderr --section 1 --name "run scripts of fixed-point arithmetic"
    --include ${CMAKE_CURRENT_LIST_DIR}/package/tessel.h2m --output ${package_files}/tessel.1 $<TARGET_FILE:tessel>
  COMMAND gzip -9nf ${package_files}/tessel.1
  COMMAND gzip -9nc ${package_files}/changelog > ${package_files}/changelog.gz
  VERBATIM)

set(library_version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(data ${CMAKE_INSTALL_DATADIR})
install(FILES ${package_files}/tessel.1.gz DESTINATION ${data}/man/man1 COMPONENT tessel EXCLUDE_FROM_ALL)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/package/completion.bash DESTINATION ${data}/bash-completion/completions
  RENAME tessel COMPONENT tessel)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${data}/doc/tessel COMPONENT tessel
  FILES_MATCHING PATTERN *.tsl PATTERN ecg.csv PATTERN data/README.md PATTERN hardware EXCLUDE)
if(QFCORE_PYTHON)
  set(python_folder lib/python3/dist-packages)
  install(TARGETS qfcore_python DESTINATION ${python_folder}/qfcore COMPONENT python EXCLUDE_FROM_ALL)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/python/qfcore DESTINATION ${python_folder} COMPONENT python EXCLUDE_FROM_ALL
    FILES_MATCHING PATTERN *.py PATTERN *.pyi PATTERN py.typed PATTERN __pycache__ EXCLUDE)
endif()

# add_package(<component> <name> <section> <summary> DEPENDS ... RECOMMENDS ... DESCRIPTION <lines>)
set(CPACK_COMPONENTS_ALL)
macro(add_package component name section summary)
  cmake_parse_arguments(package "" "DESCRIPTION" "DEPENDS;RECOMMENDS" ${ARGN})
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} upper)
  list(JOIN package_DEPENDS ", " CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS)
  list(JOIN package_RECOMMENDS ", " CPACK_DEBIAN_${upper}_PACKAGE_RECOMMENDS)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${package_DESCRIPTION}")
  install(FILES ${package_files}/copyright ${package_files}/changelog.gz DESTINATION ${data}/doc/${name} COMPONENT ${component}
    EXCLUDE_FROM_ALL)
endmacro()

set(same "(= ${PROJECT_VERSION})")
add_package(libtessel libtessel${library_version} libs "host of numeric modules, library"
  # Loaded by the first matrix product.
  DEPENDS "libopenblas0-serial | libopenblas0"
  DESCRIPTION "Arrays, indexing, messages, objects and the loader of modules: what a\nmodule such as qfcore may ask of a host.")
add_package(libqfcore libqfcore${library_version} libs "bit-true fixed-point arrays, library"
  DEPENDS "libtessel${library_version} ${same}"
  DESCRIPTION "Arrays of fixed-point numbers of any word length, whose arithmetic gives\nthe bits that hardware or generated code would give.")
add_package(dev libqfcore-dev libdevel "bit-true fixed-point arrays, development files"
  DEPENDS "libqfcore${library_version} ${same}" "libtessel${library_version} ${same}" libboost-dev libmpfr-dev libgmp-dev
  DESCRIPTION "Headers, a CMake package and a description for pkg-config, for C++ programs\nthat use the arrays, and for modules and hosts.")
add_package(tessel tessel math "shell and script language for fixed-point arrays"
  DEPENDS "libqfcore${library_version} ${same}" "libtessel${library_version} ${same}" RECOMMENDS gnuplot-nox
  DESCRIPTION "Runs scripts, lines and interactive sessions with bit-true fixed-point\narrays, and draws pictures of them. Comes with examples.")
# Packages of programs that ask for a library depend on its package, and the system's list of libraries is renewed.
foreach(library IN ITEMS libtessel libqfcore)
  string(TOUPPER ${library} upper)
  file(WRITE ${package_files}/${library}/shlibs "${library} ${library_version} ${library}${library_version} (>= ${PROJECT_VERSION})\n")
  file(WRITE ${package_files}/${library}/triggers "activate-noawait ldconfig\n")
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${package_files}/${library}/shlibs ${package_files}/${library}/triggers)
endforeach()
if(QFCORE_PYTHON)
  math(EXPR next_minor "${Python_VERSION_MINOR} + 1")
  add_package(python python3-qfcore python "bit-true fixed-point arrays, Python package"
    DEPENDS "libqfcore${library_version} ${same}" "libtessel${library_version} ${same}" "python3 (>= ${Python_VERSION_MAJOR}.${Python_VERSION_MINOR})"
      "python3 (<< ${Python_VERSION_MAJOR}.${next_minor})" python3-numpy
    DESCRIPTION "Arrays of fixed-point numbers beside those of NumPy, and searches for the\ncheapest word lengths of a design.")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qfcore)
set(CPACK_PACKAGE_VENDOR qfcore)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${QFCORE_MAINTAINER})
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/package/cpack.cmake)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
  WORLD_EXECUTE)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/package/without_scripts.cmake)
include(CPack)

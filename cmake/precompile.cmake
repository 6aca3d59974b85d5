# Reading headers takes a third of a build. What ships reads those that most sources include once a library; the other presets
# read them in each source, and so tell of an include that is missing. g++ forgets the `#pragma GCC diagnostic` of precompiled
# headers, with which these keep two of its warnings from their own functions; a build without (.ci/run) has these warnings for all
# sources.
option(QFCORE_PRECOMPILE "Read common headers once a library in release builds" ${PROJECT_IS_TOP_LEVEL})
set(read_by_most <algorithm> <array> <bit> <cmath> <cstddef> <cstdint> <cstdio> <cstdlib> <cstring> <iterator>
  <limits> <memory> <new> <optional> <span> <string> <string_view> <type_traits> <utility> <vector>
  <boost/container/small_vector.hpp>)

# precompile(<target> [FROM <owner>] [<header>...]): the sources of a target begin with the headers above and those given, or with
# those of an owner, which compiles with the same options.
function(precompile target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" FROM "")
  if(NOT QFCORE_PRECOMPILE OR NOT CMAKE_BUILD_TYPE STREQUAL "Release")
    return()
  endif()
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds;-Wno-stringop-overflow>)
  if(arg_FROM)
    target_precompile_headers(${target} REUSE_FROM ${arg_FROM})
  else()
    target_precompile_headers(${target} PRIVATE ${read_by_most} ${arg_UNPARSED_ARGUMENTS})
  endif()
endfunction()

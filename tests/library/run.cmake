# The program beside this file, made in each of the three ways in which a program can use the library, prints what stands in
# program.expected: with the package that the build tree BUILD installs, with what pkg-config tells of it, and as a project
# that adds this one. COMPILER and GENERATOR are those of the build tree. The README shows the same program.
set(folder ${BUILD}/library_test)
get_filename_component(sources ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
file(REMOVE_RECURSE ${folder})
file(COPY ${CMAKE_CURRENT_LIST_DIR}/CMakeLists.txt ${CMAKE_CURRENT_LIST_DIR}/program.cpp DESTINATION ${folder}/source)

file(READ ${CMAKE_CURRENT_LIST_DIR}/program.cpp program)
file(READ ${sources}/README.md readme)
string(FIND "${readme}" "${program}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "README.md does not show tests/library/program.cpp as it is.")
endif()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}\n${text}")
  endif()
  set(text "${text}" PARENT_SCOPE)
endfunction()

function(expect_output program)
  execute_process(COMMAND ${program} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  file(WRITE ${folder}/program.output "${output}standard error:\n${errors}")
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${CMAKE_CURRENT_LIST_DIR}/program.expected
    ${folder}/program.output RESULT_VARIABLE difference)
  if(NOT status EQUAL 0 OR NOT difference EQUAL 0)
    message(FATAL_ERROR "${program} ends with ${status} and prints:\n${output}standard error:\n${errors}"
      "expected is the text of ${CMAKE_CURRENT_LIST_DIR}/program.expected")
  endif()
endfunction()

set(configure ${CMAKE_COMMAND} -S ${folder}/source -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${folder}/prefix)
run(${configure} -B ${folder}/build -DCMAKE_PREFIX_PATH=${folder}/prefix)
run(${CMAKE_COMMAND} --build ${folder}/build)
expect_output(${folder}/build/program)

# Each installed header compiles before any other, and qfcore/qfcore.h reaches all of the module's.
set(include ${folder}/prefix/include)
set(compile ${COMPILER} -std=c++20 -I${include} -x c++)
file(GLOB_RECURSE installed RELATIVE ${include} ${include}/*.h)
run(${compile} -M ${include}/qfcore/qfcore.h)
set(reached "${text}")
foreach(header IN LISTS installed)
  file(WRITE ${folder}/header.cpp "#include \"${header}\"\n")
  run(${compile} -fsyntax-only -Wall -Wextra -Werror ${folder}/header.cpp)
endforeach()
foreach(header IN LISTS installed)
  string(FIND "${reached}" "${include}/${header}" place)
  if(place EQUAL -1 AND header MATCHES "^qfcore/")
    message(FATAL_ERROR "${header} is installed, but qfcore/qfcore.h does not include it.")
  endif()
endforeach()

file(GLOB description ${folder}/prefix/*/pkgconfig/qfcore.pc)
get_filename_component(pkgconfig ${description} DIRECTORY)
get_filename_component(libraries ${pkgconfig} DIRECTORY)
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pkgconfig} pkg-config --cflags --libs qfcore)
separate_arguments(flags UNIX_COMMAND "${text}")
run(${COMPILER} -std=c++20 ${folder}/source/program.cpp ${flags} -Wl,-rpath,${libraries} -o ${folder}/program)
# What is made asks for the version that it was made with, not for the names that compilers look for.
file(REMOVE ${libraries}/libqfcore.so ${libraries}/libtessel.so)
expect_output(${folder}/program)

# Adding the project adds the library: neither its warnings, nor its folders, nor its installation.
set(ENV{BUILT_TREE} ${BUILD})
run(${configure} -B ${folder}/parent -DSOURCES=${sources} -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
  -DCMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CURRENT_LIST_DIR}/launcher.sh)
run(${CMAKE_COMMAND} --build ${folder}/parent)
expect_output(${folder}/parent/program)
file(STRINGS ${folder}/parent/compile_commands.json command REGEX "\"command\".*program\\.cpp")
if(NOT command MATCHES "-std=" OR command MATCHES " -(W|O|f)")
  message(FATAL_ERROR "A program of a project that adds this one is compiled by\n${command}")
endif()
run(${CMAKE_COMMAND} --install ${folder}/parent --prefix ${folder}/parent_prefix)
if(EXISTS ${folder}/parent_prefix)
  message(FATAL_ERROR "Installing a project that adds this one installs this one.")
endif()
file(REMOVE_RECURSE ${folder})

# Installs the build tree BUILD into a folder of its own, builds the program beside this file with that installation alone,
# runs it, and compares what it prints with program.expected. COMPILER and GENERATOR are those of the build tree. The README
# shows the same program.
set(folder ${BUILD}/library_test)
file(REMOVE_RECURSE ${folder})
file(COPY ${CMAKE_CURRENT_LIST_DIR}/CMakeLists.txt ${CMAKE_CURRENT_LIST_DIR}/program.cpp DESTINATION ${folder}/source)

file(READ ${CMAKE_CURRENT_LIST_DIR}/program.cpp program)
file(READ ${CMAKE_CURRENT_LIST_DIR}/../../README.md readme)
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
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${folder}/prefix)
run(${CMAKE_COMMAND} -S ${folder}/source -B ${folder}/build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_PREFIX_PATH=${folder}/prefix)
run(${CMAKE_COMMAND} --build ${folder}/build)
execute_process(COMMAND ${folder}/build/program RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE errors)
file(WRITE ${folder}/program.output "${output}standard error:\n${errors}")
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${CMAKE_CURRENT_LIST_DIR}/program.expected
  ${folder}/program.output RESULT_VARIABLE difference)
if(NOT status EQUAL 0 OR NOT difference EQUAL 0)
  message(FATAL_ERROR "The program ends with ${status} and prints:\n${output}standard error:\n${errors}"
    "expected is the text of ${CMAKE_CURRENT_LIST_DIR}/program.expected")
endif()
file(REMOVE_RECURSE ${folder})

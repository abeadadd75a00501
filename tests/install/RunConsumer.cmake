# Builds the consumer project against kvmcfio used one way (MODE: package, pkgconfig or
# subdirectory) and runs the README's examples on the demo file.
# Arguments: MODE BUILD_DIR SOURCE_DIR WORK TOOL
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/snippets)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

# The first fenced block of `lang` after the heading, written to `file`.
file(READ ${SOURCE_DIR}/README.md readme)
function(extract heading lang file)
  string(FIND "${readme}" "## ${heading}\n" at)
  if(at LESS 0)
    message(FATAL_ERROR "README has no section ${heading}")
  endif()
  string(SUBSTRING "${readme}" ${at} -1 rest)
  string(FIND "${rest}" "```${lang}\n" open)
  string(LENGTH "```${lang}\n" skip)
  math(EXPR open "${open} + ${skip}")
  string(SUBSTRING "${rest}" ${open} -1 rest)
  string(FIND "${rest}" "\n```" close)
  string(SUBSTRING "${rest}" 0 ${close} code)
  file(WRITE ${WORK}/snippets/${file} "${code}\n")
endfunction()
extract("Use it from C" "c" example.c)
extract("Use it from C++" "cpp" example.cpp)

set(prefix ${WORK}/prefix)
if(NOT MODE STREQUAL "subdirectory")
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
endif()
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/lib/pkgconfig
    ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install/consumer -B ${WORK}/build -G Ninja
    -DKVMCF_USE=${MODE} -DCMAKE_PREFIX_PATH=${prefix} -DSNIPPETS=${WORK}/snippets -DKVMCF_SOURCE_DIR=${SOURCE_DIR})
run(${CMAKE_COMMAND} --build ${WORK}/build -j2)
run(${TOOL} --write-demo ${WORK}/demo.mcf)

set(programs c_example cxx_example)
if(EXISTS ${WORK}/build/cxx_static_example)
  list(APPEND programs cxx_static_example)
endif()
foreach(program IN LISTS programs)
  run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/lib ${WORK}/build/${program} ${WORK}/demo.mcf)
  # The demo signal: 20 spectra of 1024 pixels, 0.05 s exposures.
  if(NOT output MATCHES "signal: 20 frames of 1024 pixels, exposure 0.05 s")
    message(FATAL_ERROR "${program} printed:\n${output}")
  endif()
  message(STATUS "${program}: ${output}")
endforeach()
file(REMOVE_RECURSE ${WORK})

# Installs the build to a prefix of its own; then configures, builds and runs a project that knows
# nothing but that prefix, with every installed header and the example of the README in it. The example must
# print the line that the README says it prints.
#   cmake -DBUILD=... -DCONFIG=... -DREADME=... -DWORK=... -DCOMPILER=... -DFLAGS=... -DGENERATOR=...
#     -P installedPackage.cmake

cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}\nended with ${status}:\n${text}")
  endif()
  set(printed "${text}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD} --config ${CONFIG} --prefix ${prefix})

# The README has exactly one C++ block, which is a whole program.
file(READ ${README} readme)
string(REGEX MATCHALL "(^|\n)```cpp\n" blocks "${readme}")
list(LENGTH blocks count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "${README} has ${count} blocks of C++ instead of 1")
endif()
string(FIND "${readme}" "```cpp\n" begin)
math(EXPR begin "${begin} + 7")
string(SUBSTRING "${readme}" ${begin} -1 example)
string(FIND "${example}" "\n```" length)
string(SUBSTRING "${example}" 0 ${length} example)
file(WRITE ${WORK}/consumer/example.cpp "${example}\n")

if(NOT readme MATCHES "\nIt prints `([^`\n]+)`")
  message(FATAL_ERROR "${README} does not say what its program prints; expected a line: It prints `...`")
endif()
set(expected "${CMAKE_MATCH_1}\n")

file(COPY ${CMAKE_CURRENT_LIST_DIR}/consumer/CMakeLists.txt DESTINATION ${WORK}/consumer)
run(${CMAKE_COMMAND} -S ${WORK}/consumer -B ${WORK}/build -G ${GENERATOR}
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_FLAGS=${FLAGS}
  -DCMAKE_BUILD_TYPE=${CONFIG})
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/example)
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "the example of ${README} prints\n${printed}instead of\n${expected}")
endif()

# The tool starts where its prefix is moved to, without anything that tells it where the libraries are.
if(EXISTS ${prefix}/bin/lorb-distance)
  file(RENAME ${prefix} ${WORK}/moved)
  run(env -u LD_LIBRARY_PATH ${WORK}/moved/bin/lorb-distance --self-test)
  file(RENAME ${WORK}/moved ${prefix})
endif()

# Two builds with one SOURCE_DATE_EPOCH carry the same stamp, that of the given second.
#   cmake -DSTAMP=cmake/BuildStamp.cmake -DWORK=... -P repeatableBuild.cmake

set(ENV{SOURCE_DATE_EPOCH} 951786123)
set(ENV{TZ} Pacific/Auckland)
execute_process(COMMAND ${CMAKE_COMMAND} -DOUTPUT=${WORK}/buildStamp.h -DVERSION=1.2.3 "-DSUPPORT= A B" -P ${STAMP}
  COMMAND_ERROR_IS_FATAL ANY)
file(STRINGS ${WORK}/buildStamp.h lines REGEX "define")
set(expected
  "#define LORB_VERSION \"1.2.3\""
  "#define LORB_SUPPORT \" A B\""
  "#define LORB_BUILD_DATE \"Feb 29 2000\""
  "#define LORB_BUILD_TIME \"01:02:03\"")
if(NOT "${lines}" STREQUAL "${expected}")
  message(FATAL_ERROR "the stamp is\n${lines}\ninstead of\n${expected}")
endif()

# Writes the header with the date and time of the build, in the form of __DATE__ and __TIME__.
# Run as a script at build time. SOURCE_DATE_EPOCH, which string(TIMESTAMP) honours, makes builds
# repeatable with every compiler.
#   cmake -DOUTPUT=... -DVERSION=... -DSUPPORT=... -P BuildStamp.cmake

if(DEFINED ENV{SOURCE_DATE_EPOCH})
  set(zone UTC)
endif()
string(TIMESTAMP date "%b %d %Y" ${zone})
string(TIMESTAMP time "%H:%M:%S" ${zone})
string(REGEX REPLACE " 0([1-9]) " "  \\1 " date "${date}")

file(WRITE "${OUTPUT}"
"#pragma once

#define LORB_VERSION \"${VERSION}\"
#define LORB_SUPPORT \"${SUPPORT}\"
#define LORB_BUILD_DATE \"${date}\"
#define LORB_BUILD_TIME \"${time}\"
")

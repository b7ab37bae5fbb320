// The tool, run as a process of its own, is not checked for leaks in sanitizer builds: the checker halts
// every thread at the end of a process, and some tests halt and interrupt the process themselves.

#include <stdlib.h>

namespace {

[[maybe_unused]] int const isSet = setenv("ASAN_OPTIONS", "detect_leaks=0", 0);

}  // namespace

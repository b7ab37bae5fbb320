#include "tools/base/failures.h"

#include <exception>
#include <iostream>
#include <new>
#include <string>

namespace lorb::tools {
namespace {

int fail(ExitCode code, std::string const& line) {
  printFailure(line);
  return static_cast<int>(code);
}

}  // namespace

void printFailure(std::string line) {
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < ' ') c = ' ';
  }
  std::cerr << "lorb-distance: " << line << std::endl;
}

int exitCodeOf(std::function<ExitCode()> const& f) try {
  return static_cast<int>(f());
} catch (Error const& error) {
  return fail(error.code(), error.what());
} catch (std::bad_alloc const&) {
  return fail(ExitCode::internal, "not enough memory for this volume");
} catch (std::exception const& error) {
  return fail(ExitCode::internal, std::string("internal error: ") + error.what());
} catch (...) {
  return fail(ExitCode::internal, "internal error of unknown kind");
}

}  // namespace lorb::tools

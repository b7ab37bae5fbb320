// lorb-distance: signed distance maps of objects in medical volumes.

#include "tools/base/errors.h"
#include "tools/base/interruption.h"
#include "tools/run.h"
#include "tools/volume/standardStreams.h"

#include <csignal>
#include <exception>
#include <iostream>
#include <new>
#include <string>

namespace {

using lorb::tools::ExitCode;

/// One line whatever the text holds, file names with line breaks included.
int fail(ExitCode code, std::string line) {
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < ' ') c = ' ';
  }
  std::cerr << "lorb-distance: " << line << std::endl;
  return static_cast<int>(code);
}

}  // namespace

int main(int argc, char** argv) try {
  lorb::tools::fillClosedStreams();
  lorb::tools::endOnInterruption();
  std::signal(SIGPIPE, SIG_IGN);  // a reader that went away is an error of writing
  if (auto const options = lorb::tools::parseOptions(argc, argv, std::cout)) {
    lorb::tools::run(*options, std::cout, std::cerr);
  }
  lorb::tools::requirePrinted(std::cout);
  return static_cast<int>(ExitCode::success);
} catch (lorb::tools::Error const& error) {
  return fail(error.code(), error.what());
} catch (std::bad_alloc const&) {
  return fail(ExitCode::internal, "not enough memory for this volume");
} catch (std::exception const& error) {
  return fail(ExitCode::internal, std::string("internal error: ") + error.what());
} catch (...) {
  return fail(ExitCode::internal, "internal error of unknown kind");
}

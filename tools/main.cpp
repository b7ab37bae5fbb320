// lorb-distance: signed distance maps of objects in medical volumes.

#include "tools/base/failures.h"
#include "tools/base/interruption.h"
#include "tools/run/run.h"
#include "tools/volume/standardStreams.h"

#include <csignal>
#include <iostream>

int main(int argc, char** argv) {
  using namespace lorb::tools;
  return exitCodeOf([&] {
    fillClosedStreams();
    endOnInterruption();
    std::signal(SIGPIPE, SIG_IGN);  // a reader that went away is an error of writing
    std::signal(SIGXFSZ, SIG_IGN);  // and so is a file that may not grow
    ExitCode code = ExitCode::success;
    if (auto const options = parseOptions(argc, argv, std::cout)) code = run(*options, std::cout, std::cerr);
    requirePrinted(std::cout);
    return code;
  });
}

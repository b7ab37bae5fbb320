#include "tools/base/SilencedStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace lorb::tools {
namespace {

constexpr std::array<int, 2> standardStreams = {STDOUT_FILENO, STDERR_FILENO};

/// What waits in a buffer belongs to the target of the moment at which it was printed.
void flushEverything() {
  std::cout.flush();
  std::cerr.flush();
  std::fflush(nullptr);
}

}  // namespace

SilencedStreams::SilencedStreams() {
  flushEverything();
  int const nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  for (std::size_t k = 0; k < saved_.size(); ++k) {
    saved_[k] = nowhere < 0 ? -1 : fcntl(standardStreams[k], F_DUPFD_CLOEXEC, 3);
    if (saved_[k] >= 0) dup2(nowhere, standardStreams[k]);
  }
  if (nowhere >= 0) close(nowhere);
}

SilencedStreams::~SilencedStreams() {
  flushEverything();
  for (std::size_t k = 0; k < saved_.size(); ++k) {
    if (saved_[k] < 0) continue;
    dup2(saved_[k], standardStreams[k]);
    close(saved_[k]);
  }
}

}  // namespace lorb::tools

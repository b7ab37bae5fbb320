// Keeps what libraries print to themselves: readers of medical files write their diagnostics straight to
// standard output and standard error, where the tool promises one line of its own.
#pragma once

#include <array>

namespace lorb::tools {

/// While it lives, everything this process writes to its file descriptors 1 and 2 is dropped. They are
/// the process's, so no other thread may be printing. Streams that can't be redirected stay as they are.
class SilencedStreams {
 public:
  SilencedStreams();
  ~SilencedStreams();
  SilencedStreams(SilencedStreams const&) = delete;
  SilencedStreams& operator=(SilencedStreams const&) = delete;

 private:
  std::array<int, 2> saved_;
};

}  // namespace lorb::tools

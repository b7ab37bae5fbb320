// Calls in a child process, for libraries that on a damaged file end the whole process, take all memory or
// take forever.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace lorb::tools {

/// What each child process may take.
struct ChildLimits {
  std::uint64_t bytes;  ///< of address space beyond what this process has
  unsigned seconds;     ///< of processor time for each call
};

enum class CallEnd {
  returned,
  threw,        ///< an exception
  outOfMemory,  ///< `std::bad_alloc`
  outOfTime,
  crashed,  ///< ended the child process
};

/// Hands bytes to this process, as one message.
using Send = std::function<void(std::span<std::byte const>)>;

/// A function to be called in the child process, with the number of the call.
using ChildCall = std::function<void(std::size_t, Send const&)>;

/// Gets each message of a call.
using Received = std::function<void(std::size_t, std::span<std::byte const>)>;

/// Gets how a call ended, and of an exception its text.
using Ended = std::function<void(std::size_t, CallEnd, std::string const&)>;

/// Calls `f(0, send)` to `f(count - 1, send)` one after the other in a child process, and in a new one after
/// a call that ended it. Each message goes to `received` and the end of each call to `ended`, both in this
/// process and in order; what they throw ends the children. The children share nothing with this process and
/// print nothing. No other thread of this process may meanwhile hold a lock that `f` waits for. Throws
/// `Error` when no process is to be had.
void callInChild(std::size_t count, ChildLimits const& limits, ChildCall const& f, Received const& received,
                 Ended const& ended);

}  // namespace lorb::tools

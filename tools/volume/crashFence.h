// Libraries that end the whole process on a damaged file are asked in a child process first.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace lorb::tools {

/// Calls `f(0)` to `f(count - 1)` in a child process, for what they survive: returns the numbers whose call
/// ended the process by a signal. Exceptions are survived. The children share nothing with this process and
/// print nothing. Nothing is returned when no process can be had. Meanwhile no other thread of this process
/// may hold a lock that a child could wait for; no thread that computes maps outlives its map.
std::vector<std::size_t> fatalCalls(std::size_t count, std::function<void(std::size_t)> const& f);

}  // namespace lorb::tools

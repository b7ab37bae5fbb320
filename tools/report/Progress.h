// How far a long computation has come, in one line that draws over itself.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace lorb::tools {

/// Shows slices or other things done, rate and time left once the work has taken a second, ten times a second
/// at most. The line is removed at the end of its life.
class Progress {
 public:
  using Clock = std::chrono::steady_clock;
  using Now = std::function<Clock::time_point()>;
  using Show = std::function<void(std::string const&)>;  ///< takes text with control characters

  /// Of a computation of `total` things that begins now, in a line of less than `width` characters. Nothing
  /// is shown when `show` is empty.
  Progress(std::uint64_t total, Show show, std::size_t width, Now now = Clock::now,
           std::string things = "slices");
  ~Progress();
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;

  /// Counts things that are done. May be called from any thread.
  void advance(std::uint64_t count);

  /// Removes the line until the next `advance`, so that another can be printed.
  void hide();

 private:
  std::string line(double seconds) const;

  std::uint64_t total_, done_ = 0;
  Show show_;
  std::size_t width_;
  Now now_;
  std::string things_;
  Clock::time_point begin_, shown_;
  bool visible_ = false;
  std::mutex mutex_;
};

/// Shows on standard error, if that is a terminal; empty otherwise.
Progress::Show terminalShow();

/// Columns of the terminal on standard error; 80 when it is none or does not say.
std::size_t terminalWidth();

}  // namespace lorb::tools

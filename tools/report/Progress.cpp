#include "tools/report/Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace lorb::tools {
namespace {

constexpr std::chrono::milliseconds patience(1000), pause(100);
constexpr char const* eraseLine = "\r\x1b[K";

std::string durationText(double seconds) {
  auto const whole = static_cast<long>(std::ceil(seconds));
  if (whole < 60) return std::to_string(whole) + " s";
  if (whole >= 3600) return std::to_string(whole / 3600) + " h " + std::to_string(whole / 60 % 60) + " min";
  return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
}

std::string rateText(double rate) {
  if (rate >= 10.0) return std::to_string(std::lround(rate));
  return std::to_string(std::lround(rate * 10.0) / 10) + "." + std::to_string(std::lround(rate * 10.0) % 10);
}

}  // namespace

Progress::Progress(std::uint64_t total, Show show, std::size_t width, Now now, std::string things)
    : total_(total),
      show_(std::move(show)),
      width_(width),
      now_(std::move(now)),
      things_(std::move(things)),
      begin_(now_()),
      shown_(begin_) {}

Progress::~Progress() {
  hide();
}

void Progress::hide() {
  std::lock_guard const guard(mutex_);
  if (visible_) show_(eraseLine);
  visible_ = false;
}

void Progress::advance(std::uint64_t count) {
  std::lock_guard const guard(mutex_);
  done_ += count;
  if (!show_) return;
  auto const now = now_();
  if (now - begin_ < patience || now - shown_ < pause) return;
  shown_ = now;
  visible_ = true;
  show_(eraseLine + line(std::chrono::duration<double>(now - begin_).count()));
}

std::string Progress::line(double seconds) const {
  double const rate = double(done_) / seconds;
  std::string const text = std::to_string(done_) + " of " + std::to_string(total_) + " " + things_ + ", " +
                           rateText(rate) + " a second, " + durationText(double(total_ - done_) / rate) +
                           " left";
  // In the last column some terminals begin a new line.
  std::size_t const room = width_ - std::min<std::size_t>(width_, 1);
  constexpr std::size_t frame = 3, leastBar = 5, mostBar = 30;
  if (room < text.size() + frame + leastBar) return text.substr(0, room);
  std::size_t const bar = std::min(mostBar, room - text.size() - frame);
  std::size_t const filled = total_ == 0 ? bar : static_cast<std::size_t>(bar * done_ / total_);
  return "[" + std::string(filled, '#') + std::string(bar - filled, '.') + "] " + text;
}

Progress::Show terminalShow() {
  if (isatty(STDERR_FILENO) == 0) return {};
  return [](std::string const& text) {
    // What can't be shown is not worth a complaint.
    [[maybe_unused]] auto const ignored = write(STDERR_FILENO, text.data(), text.size());
  };
}

std::size_t terminalWidth() {
  winsize size = {};
  bool const known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

}  // namespace lorb::tools

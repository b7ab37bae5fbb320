#include "tools/Progress.h"

#include <unistd.h>

#include <cmath>
#include <utility>

namespace lorb::tools {
namespace {

constexpr std::chrono::milliseconds patience(1000), pause(100);
constexpr std::uint64_t barWidth = 30;
constexpr char const* eraseLine = "\r\x1b[K";

std::string durationText(double seconds) {
  auto const whole = static_cast<long>(std::ceil(seconds));
  if (whole < 60) return std::to_string(whole) + " s";
  return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
}

std::string rateText(double rate) {
  if (rate >= 10.0) return std::to_string(std::lround(rate));
  return std::to_string(std::lround(rate * 10.0) / 10) + "." + std::to_string(std::lround(rate * 10.0) % 10);
}

}  // namespace

Progress::Progress(std::uint64_t total, Show show, Now now)
    : total_(total), show_(std::move(show)), now_(std::move(now)), begin_(now_()), shown_(begin_) {}

Progress::~Progress() {
  if (visible_) show_(eraseLine);
}

void Progress::advance(std::uint64_t slices) {
  std::lock_guard const guard(mutex_);
  done_ += slices;
  if (!show_) return;
  auto const now = now_();
  if (now - begin_ < patience || now - shown_ < pause) return;
  shown_ = now;
  visible_ = true;
  show_(eraseLine + line(std::chrono::duration<double>(now - begin_).count()));
}

std::string Progress::line(double seconds) const {
  std::uint64_t const filled = total_ == 0 ? barWidth : barWidth * done_ / total_;
  double const rate = double(done_) / seconds;
  return "[" + std::string(filled, '#') + std::string(barWidth - filled, '.') + "] " + std::to_string(done_) +
         " of " + std::to_string(total_) + " slices, " + rateText(rate) + " a second, " +
         durationText(double(total_ - done_) / rate) + " left";
}

Progress::Show terminalShow() {
  if (isatty(STDERR_FILENO) == 0) return {};
  return [](std::string const& text) {
    // What can't be shown is not worth a complaint.
    [[maybe_unused]] auto const ignored = write(STDERR_FILENO, text.data(), text.size());
  };
}

}  // namespace lorb::tools

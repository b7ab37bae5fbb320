#include "tools/base/parseNumber.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>

namespace lorb::tools {

static_assert(std::numeric_limits<ExactNumber>::digits >= 64, "64-bit integers would be rounded");

namespace {

template <class T>
std::optional<T> parseAll(std::string_view text) {
  T value;
  char const* const end = text.data() + text.size();
  auto const [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

}  // namespace

std::optional<ExactNumber> parseNumber(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  if (auto const integer = parseAll<std::int64_t>(text)) return static_cast<ExactNumber>(*integer);
  if (auto const integer = parseAll<std::uint64_t>(text)) return static_cast<ExactNumber>(*integer);
  auto const real = parseAll<double>(text);
  if (!real || !std::isfinite(*real)) return std::nullopt;
  return *real;
}

std::string numberText(ExactNumber number) {
  char text[64];
  // 64-bit integers in full, everything else as the double that it is.
  bool const whole = number == std::floor(number) && std::abs(number) < 18446744073709551616.0L;
  auto const end = whole
                       ? std::to_chars(std::begin(text), std::end(text), number, std::chars_format::fixed, 0)
                       : std::to_chars(std::begin(text), std::end(text), static_cast<double>(number));
  return {text, end.ptr};
}

std::optional<int> parseInteger(std::string_view text) {
  return parseAll<int>(text);
}

}  // namespace lorb::tools

#include "tools/parseNumber.h"

#include <charconv>
#include <cmath>
#include <cstdint>
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
  if (auto const integer = parseAll<std::int64_t>(text)) return static_cast<ExactNumber>(*integer);
  if (auto const integer = parseAll<std::uint64_t>(text)) return static_cast<ExactNumber>(*integer);
  auto const real = parseAll<double>(text);
  if (!real || !std::isfinite(*real)) return std::nullopt;
  return *real;
}

std::optional<int> parseInteger(std::string_view text) {
  return parseAll<int>(text);
}

}  // namespace lorb::tools

#include "tools/commandLine/nearestOption.h"

#include "tools/commandLine/optionTable.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace lorb::tools {
namespace {

/// Letters to leave out, put in, replace or swap with their neighbours (optimal string alignment).
std::size_t editsBetween(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> edits(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        edits[i][j] = i + j;
        continue;
      }
      std::size_t const replaced = edits[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      edits[i][j] = std::min({edits[i - 1][j] + 1, edits[i][j - 1] + 1, replaced});
      bool const swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) edits[i][j] = std::min(edits[i][j], edits[i - 2][j - 2] + 1);
    }
  }
  return edits[a.size()][b.size()];
}

std::string_view withoutDashes(std::string_view name) {
  auto const letters = name.find_first_not_of('-');
  return letters == std::string_view::npos ? std::string_view() : name.substr(letters);
}

}  // namespace

std::optional<std::string> nearestOption(std::string_view typed) {
  std::string letters(withoutDashes(typed));
  for (char& c : letters) c = 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  if (letters.size() < 2) return std::nullopt;
  std::optional<std::string> nearest;
  std::pair<std::size_t, std::size_t> best(letters.size() / 3 + 1, 0);  // edits, then the name's length
  for (OptionRow const& row : optionTable()) {
    std::string const name = longNameOf(row);
    std::string_view const candidate = withoutDashes(name);
    std::size_t const edits = candidate.starts_with(letters) ? 0 : editsBetween(letters, candidate);
    std::pair const rank(edits, name.size());
    if (rank >= best) continue;
    best = rank;
    nearest = name;
  }
  return nearest;
}

}  // namespace lorb::tools

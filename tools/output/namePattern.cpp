#include "tools/output/namePattern.h"

#include "tools/base/errors.h"
#include "tools/volume/formatTable.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <utility>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// The file's name without its extension, when that is a known one: a dot may belong to the name.
std::string stemOf(fs::path const& path) {
  std::string const name = path.filename().string();
  return name.substr(0, name.size() - extensionOf(path).size());
}

/// The last folder of a path, of "." and "ct/" too.
fs::path namedPath(fs::path const& input) {
  std::error_code error;
  fs::path const whole = fs::canonical(input, error);
  return error || !fs::is_directory(whole, error) ? input : whole;
}

bool isAlphanumeric(std::string const& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](unsigned char c) { return std::isalnum(c) != 0 || c == '+'; });
}

/// A name by the Brain Imaging Data Structure: entities such as sub-01, and a suffix.
struct BidsName {
  std::vector<std::pair<std::string, std::string>> entities;
  std::string suffix;
};

std::optional<BidsName> bidsName(std::string const& stem) {
  BidsName name;
  std::size_t begin = 0;
  for (std::size_t end; (end = stem.find('_', begin)) != std::string::npos; begin = end + 1) {
    std::string const part = stem.substr(begin, end - begin);
    std::size_t const dash = part.find('-');
    if (dash == std::string::npos) return std::nullopt;
    name.entities.emplace_back(part.substr(0, dash), part.substr(dash + 1));
    if (!isAlphanumeric(name.entities.back().first) || !isAlphanumeric(name.entities.back().second)) {
      return std::nullopt;
    }
  }
  name.suffix = stem.substr(begin);
  bool const begins =
      !name.entities.empty() && (name.entities[0].first == "sub" || name.entities[0].first == "tpl");
  if (!begins || !isAlphanumeric(name.suffix)) return std::nullopt;
  return name;
}

std::string mapExtension(fs::path const& input) {
  std::string const known = oneFileExtensionOf(input);
  return known.empty() ? ".nii.gz" : known;
}

std::string listed(NameParts const& parts) {
  std::string text;
  for (auto const& part : parts) text += (text.empty() ? "{" : ", {") + part.first + "}";
  return text;
}

}  // namespace

NameParts namePartsOf(fs::path const& input) {
  fs::path const path = namedPath(input);
  std::string const stem = stemOf(path);
  NameParts parts = {{"stem", stem},
                     {"ext", mapExtension(path)},
                     {"folder", fs::absolute(path).parent_path().filename().string()},
                     {"entities", stem}};
  auto const bids = bidsName(stem);
  if (!bids) return parts;
  parts["entities"] = stem.substr(0, stem.size() - bids->suffix.size() - 1);
  parts["suffix"] = bids->suffix;
  parts.insert(bids->entities.begin(), bids->entities.end());
  return parts;
}

std::string defaultNamePattern(fs::path const& input, bool withLabels) {
  auto const bids = bidsName(stemOf(namedPath(input)));
  if (!withLabels) return bids ? "{entities}_sdt{ext}" : "{stem}_sdt{ext}";
  std::string const label = std::string("label-") + labelWord + "_";
  if (!bids) return "{stem}_" + label + "sdt{ext}";
  std::string before, after;
  for (auto const& entity : bids->entities) {
    // The input's own label gives way to that of the map; a description comes after it.
    if (entity.first == "label") continue;
    (entity.first == "desc" ? after : before) += entity.first + "-{" + entity.first + "}_";
  }
  return before + label + after + "sdt{ext}";
}

std::string nameFrom(std::string const& pattern, NameParts const& parts, std::string const& option,
                     fs::path const& input) {
  std::string name;
  std::size_t begin = 0;
  for (std::size_t open; (open = pattern.find('{', begin)) != std::string::npos;) {
    std::size_t const close = pattern.find('}', open);
    if (close == std::string::npos) {
      throw UsageError(option + " '" + pattern + "' has a brace that is not closed; expected one such as " +
                       "{stem}_sdt{ext}");
    }
    std::string const word = pattern.substr(open + 1, close - open - 1);
    auto const part = parts.find(word);
    if (part == parts.end()) {
      throw UsageError(option + " '" + pattern + "': {" + word +
                       "} stands for nothing in the name of input " + input.string() + "; expected some of " +
                       listed(parts));
    }
    name += pattern.substr(begin, open - begin) + part->second;
    begin = close + 1;
  }
  return name + pattern.substr(begin);
}

fs::path withLabel(fs::path const& path, ExactNumber label) {
  std::string const number = numberText(label), word = labelWord;
  std::string text = path.string();
  if (text.find(word) == std::string::npos) {
    std::string const known = extensionOf(path),
                      extension = known.empty() ? path.extension().string() : known;
    std::string const name = path.filename().string();
    std::size_t const stem = name.size() - extension.size();
    return path.parent_path() / (name.substr(0, stem) + "-" + number + name.substr(stem));
  }
  for (std::size_t k; (k = text.find(word)) != std::string::npos;) text.replace(k, word.size(), number);
  return text;
}

fs::path withExtension(fs::path const& path, std::string const& extension) {
  return path.parent_path() / (stemOf(path) + extension);
}

}  // namespace lorb::tools

// Names of maps made from the name of their input, such as "{stem}_sdt{ext}".
#pragma once

#include "tools/base/parseNumber.h"

#include <filesystem>
#include <map>
#include <string>

namespace lorb::tools {

/// What the words in braces of a pattern stand for.
using NameParts = std::map<std::string, std::string>;

/// Parts that the name of an input gives: `stem`, its name without the extension; `ext`, the extension of the
/// map, that of the input where maps can have it and .nii.gz otherwise; `folder`, the name of the folder that
/// it is in. For a BIDS name such as sub-01_ses-2_desc-brain_mask.nii.gz also `suffix` (mask), `entities`
/// (sub-01_ses-2_desc-brain) and each entity (`sub`, `ses`, `desc`); otherwise `entities` is the stem.
NameParts namePartsOf(std::filesystem::path const& input);

/// The pattern for names when none is given. Entities of a BIDS name are kept, in the order of BIDS:
/// sub-01_label-{label}_desc-{desc}_sdt{ext}. Other names give {stem}_sdt{ext}, or with labels
/// {stem}_label-{label}_sdt{ext}.
std::string defaultNamePattern(std::filesystem::path const& input, bool withLabels);

/// The pattern with its words in braces replaced. Throws `UsageError` when there is no such part, naming
/// `option` and the input.
std::string nameFrom(std::string const& pattern, NameParts const& parts, std::string const& option,
                     std::filesystem::path const& input);

/// Stands for a label in the names of maps that are made for each label.
inline constexpr char const* labelWord = "{label}";

/// The name of the map of one label: `labelWord` replaced, or "map-77.nii.gz" where the name has none.
std::filesystem::path withLabel(std::filesystem::path const& path, ExactNumber label);

/// "map.json" of "map.nii.gz"
std::filesystem::path withExtension(std::filesystem::path const& path, std::string const& extension);

}  // namespace lorb::tools

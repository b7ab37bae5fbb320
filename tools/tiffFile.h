// Whether a TIFF file is whole, which ITK's reader does not ask: it takes what it gets.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace lorb::tools {

/// What is wrong with the pages of a TIFF file; nothing when each lies within the file and all are alike.
/// Reads headers alone.
std::optional<std::string> complaintAboutTiff(std::filesystem::path const& path);

}  // namespace lorb::tools

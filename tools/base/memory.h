// How much memory there is, was taken, and may be.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace lorb::tools {

/// Bytes that a new process can have without pushing others out, as the system estimates it, within the
/// limits that this process and the control groups that it belongs to have been given.
std::uint64_t availableMemory();

/// What is left of the memory that the control groups of this process may take; the greatest number when none
/// has a limit. `root` is where the system's folders proc and sys are.
std::uint64_t leftByControlGroups(std::filesystem::path const& root);

/// The most that this process has ever held in memory, in bytes.
std::uint64_t peakMemory();

/// Bytes in a text such as "512M", "1.5G", "800MiB" or "65536": a number and K, M, G or T, powers of 1024,
/// if anything. Nothing for other texts and for 0.
std::optional<std::uint64_t> parseBytes(std::string_view text);

/// "512 MiB", "1.4 GiB"
std::string bytesText(std::uint64_t bytes);

}  // namespace lorb::tools

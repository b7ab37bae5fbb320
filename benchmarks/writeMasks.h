#pragma once

#include <filesystem>

namespace benchmarks {

/// Writes the first eight slices of every compared volume, raw bytes of 0 and 1, for peers that are timed
/// by a program of their own. The files are called as the timings are, with '-' for '/'.
void writeMasks(std::filesystem::path const& folder);

}  // namespace benchmarks

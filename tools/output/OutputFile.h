// A new file whose every byte arrives, or an error is thrown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

namespace lorb::tools {

class OutputFile {
 public:
  /// Makes the file, or empties it. All members throw `OutputError` with the reason alone.
  explicit OutputFile(std::filesystem::path const& path);
  ~OutputFile();
  OutputFile(OutputFile const&) = delete;
  OutputFile& operator=(OutputFile const&) = delete;

  /// Writes at a position, whether the file goes that far or not. From any thread.
  void writeAt(std::uint64_t position, std::span<std::byte const> bytes) const;

  /// Some file systems report only now that there was no room.
  void close();

 private:
  int file_;
};

}  // namespace lorb::tools

// What can go wrong in the tool, and the exit code each kind ends the program with.
#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace lorb::tools {

enum class ExitCode : int {
  success = 0,
  usage = 2,          ///< the command line says nothing that can be done
  input = 3,          ///< the input can't be read or holds no usable volume
  output = 4,         ///< the map can't be written
  internal = 5,       ///< memory ran out, or a bug
  interrupted = 130,  ///< ended by a signal, as shells count Ctrl-C
};

/// The one line that the user gets to read: it names the file or argument, the value, and what would
/// be right.
class Error : public std::runtime_error {
 public:
  Error(ExitCode code, std::string const& line) : std::runtime_error(line), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

struct UsageError : Error {
  explicit UsageError(std::string const& line) : Error(ExitCode::usage, line) {}
};

struct InputError : Error {
  explicit InputError(std::string const& line) : Error(ExitCode::input, line) {}
};

struct OutputError : Error {
  explicit OutputError(std::string const& line) : Error(ExitCode::output, line) {}
};

/// Memory that can't be had, found out beforehand.
struct MemoryError : Error {
  explicit MemoryError(std::string const& line) : Error(ExitCode::internal, line) {}
};

/// Throws `InputError` with the line that refuses the file `path` for the reason `what`.
[[noreturn]] inline void refuseInput(std::filesystem::path const& path, std::string const& what) {
  throw InputError("input " + path.string() + ": " + what);
}

/// The system's reason why a file can't be opened for reading; nothing when it can.
std::optional<std::string> whyClosed(std::filesystem::path const& path);

}  // namespace lorb::tools

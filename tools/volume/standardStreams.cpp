#include "tools/volume/standardStreams.h"

#include "tools/base/WorkFolder.h"
#include "tools/base/errors.h"
#include "tools/volume/formatTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <ostream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// A format, and the extension that suits data of it.
struct Kind {
  VolumeFormat const* format = nullptr;
  std::string_view extension;
};

Kind kindOf(std::string_view head) {
  for (VolumeFormat const* const format : formats()) {
    if (format->extensionFor == nullptr) continue;
    if (auto const extension = format->extensionFor(head); !extension.empty()) return {format, extension};
  }
  return {};
}

std::string expectedFormats() {
  return namesOf([](VolumeFormat const& format) { return format.extensionFor != nullptr; });
}

/// Fills `buffer` from standard input as far as that goes.
std::size_t readInput(std::vector<char>& buffer) {
  std::size_t filled = 0;
  while (filled < buffer.size()) {
    ssize_t const got = ::read(STDIN_FILENO, buffer.data() + filled, buffer.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw InputError("input -: can't be read: " + std::generic_category().message(errno));
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return filled;
}

void writeOutput(char const* bytes, std::size_t count) {
  while (count > 0) {
    ssize_t const put = ::write(STDOUT_FILENO, bytes, count);
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) throw OutputError("output -: can't be written: " + std::generic_category().message(errno));
    bytes += put;
    count -= static_cast<std::size_t>(put);
  }
}

std::unique_ptr<WorkFolder> temporaryFolder() try {
  return std::make_unique<WorkFolder>(temporaryRoot());
} catch (std::system_error const& error) {
  refuseInput("-", "can't be kept in folder " + temporaryRoot().string() + ": " + error.code().message());
}

/// A source that keeps the file which it reads.
class SpooledSource : public VolumeSource {
 public:
  SpooledSource(std::unique_ptr<WorkFolder> folder, std::unique_ptr<VolumeSource> source)
      : folder_(std::move(folder)), source_(std::move(source)) {
    notices = source_->notices;
  }
  VolumeHeader const& header() const override { return source_->header(); }
  bool readsParts() const override { return source_->readsParts(); }
  bool readsInOrder() const override { return source_->readsInOrder(); }
  std::uint64_t workBytes(Region const& region) const override { return source_->workBytes(region); }
  std::unique_ptr<ImageDataset> read(Region const& region) override { return source_->read(region); }

 private:
  std::unique_ptr<WorkFolder> folder_;
  std::unique_ptr<VolumeSource> source_;
};

}  // namespace

void fillClosedStreams() {
  constexpr int wrongWays[] = {O_WRONLY, O_RDONLY, O_RDONLY};  // of standard input, output and error
  for (int stream = 0; stream <= STDERR_FILENO; ++stream) {
    // The lowest number that is free is the one that an opened file gets.
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", wrongWays[stream]);
  }
}

void requirePrinted(std::ostream& stream) {
  if (!stream.flush()) {
    throw OutputError("output -: standard output takes no text; expected one that is open and has room");
  }
}

bool isStandardStream(fs::path const& path) {
  return path == "-";
}

std::unique_ptr<VolumeSource> openStandardInput(InputChoice const& choice) {
  std::vector<char> block(std::size_t(1) << 20);
  std::size_t count = readInput(block);
  Kind const kind = kindOf({block.data(), count});
  if (kind.format == nullptr) refuseInput("-", "is no " + expectedFormats() + " data; expected one of them");
  auto folder = temporaryFolder();
  fs::path const path = folder->path() / ("input" + std::string(kind.extension));
  std::ofstream file(path, std::ios::binary);
  for (; count > 0; count = readInput(block)) file.write(block.data(), static_cast<std::streamsize>(count));
  file.close();
  if (!file) {
    refuseInput("-", "has no room in " + temporaryRoot().string() + "; expected a file or another TMPDIR");
  }
  auto source = kind.format->open(path, choice);
  return std::make_unique<SpooledSource>(std::move(folder), std::move(source));
}

void copyToStandardOutput(fs::path const& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> block(std::size_t(1) << 20);
  while (file) {
    file.read(block.data(), static_cast<std::streamsize>(block.size()));
    writeOutput(block.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (!file.eof()) throw OutputError("output -: can't be read back from " + path.string());
}

}  // namespace lorb::tools

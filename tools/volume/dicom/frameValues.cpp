#include "tools/volume/dicom/frameValues.h"

#include "tools/base/childCalls.h"
#include "tools/base/errors.h"
#include "tools/volume/dicom/gdcmFrames.h"
#include "tools/volume/dicom/pixelData.h"
#include "tools/volume/dicom/storedValues.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <system_error>

namespace lorb::tools::dicom {
namespace fs = std::filesystem;
namespace {

/// What decoding may take beside what the header says, and seconds for each million of bytes.
constexpr std::uint64_t decoderBytes = std::uint64_t(128) << 20, bytesPerSecond = 1000000;
constexpr unsigned decoderSeconds = 20;

bool isPlainFile(Frame const& frame) {
  return frame.pixelOffset > 0;
}

std::uint64_t fileBytes(Frame const& frame) {
  std::error_code error;
  auto const size = fs::file_size(frame.file, error);
  return error ? 0 : size;
}

std::uint64_t decodedBytes(Frame const& frame) {
  return frame.frameCount * storedBytes(frame);
}

/// The pixel data as read, decoded and handed over.
std::uint64_t decoderNeed(Frame const& frame) {
  return fileBytes(frame) + 2 * decodedBytes(frame) + voxelCount(frame.extents) * sizeof(double);
}

/// Reads frames that lie in their files as they are in memory.
class PlainReader {
 public:
  void read(Frame const& frame, TypeID type, std::byte* values) {
    if (frame.file != path_) {
      path_ = frame.file;
      stream_ = std::ifstream(path_, std::ios::binary);
    }
    // Single bits are packed without regard to frames.
    std::uint64_t const bits =
        voxelCount(frame.extents) * static_cast<std::uint64_t>(frame.stored.allocatedBits);
    std::uint64_t const first = frame.index * bits, last = first + bits;
    elements_.resize((last + 7) / 8 - first / 8);
    stream_.seekg(static_cast<std::streamoff>(frame.pixelOffset + first / 8));
    if (!stream_.read(reinterpret_cast<char*>(elements_.data()), std::ssize(elements_))) {
      refuseInput(path_, "is incomplete: its pixel data are cut");
    }
    if (isBigEndian(frame.transferSyntax)) swapElements(frame.stored.allocatedBits);
    writeValues(frame, elements_, static_cast<unsigned>(first % 8), type, values);
  }

 private:
  void swapElements(int bits) {
    auto const size = static_cast<std::ptrdiff_t>(bits / 8);
    for (auto element = elements_.begin(); element != elements_.end(); element += size) {
      std::reverse(element, element + size);
    }
  }

  fs::path path_;
  std::ifstream stream_;
  std::vector<std::byte> elements_;
};

/// The frames that are wanted of one file, and where their values go.
struct FileTask {
  std::vector<Frame const*> frames;
  std::vector<std::byte*> targets;
};

void sendValues(FileTask const& task, TypeID type, Send const& send) {
  decodeFile(*task.frames[0], [&](std::span<std::byte const> elements) {
    std::vector<std::byte> values(voxelCount(task.frames[0]->extents) * bytesOf(type));
    for (Frame const* frame : task.frames) {
      auto const size = storedBytes(*frame);
      writeValues(*frame, elements.subspan(frame->index * size, size), 0, type, values.data());
      send(values);
    }
  });
}

void requireDecoded(Frame const& frame, CallEnd end, std::string const& reason) {
  switch (end) {
    case CallEnd::returned:
      return;
    case CallEnd::threw:
      throw InputError(reason);
    case CallEnd::outOfMemory:
      refuseInput(frame.file, "is damaged: its pixel data take more memory than its header says");
    case CallEnd::outOfTime:
      refuseInput(frame.file, "is damaged: its pixel data take too long to decode");
    case CallEnd::crashed:
      refuseInput(frame.file, "is damaged: its reader fails on it altogether");
  }
}

/// Decodes files in a child process, one after the other.
void decode(std::vector<FileTask> const& tasks, TypeID type) {
  std::uint64_t need = 0, bytes = 0;
  for (FileTask const& task : tasks) {
    need = std::max(need, decoderNeed(*task.frames[0]));
    bytes = std::max(bytes, decodedBytes(*task.frames[0]));
  }
  std::size_t next = 0;
  auto const send = [&](std::size_t k, Send const& send) { sendValues(tasks[k], type, send); };
  auto const received = [&](std::size_t k, std::span<std::byte const> values) {
    std::memcpy(tasks[k].targets.at(next++), values.data(), values.size());
  };
  auto const ended = [&](std::size_t k, CallEnd end, std::string const& reason) {
    requireDecoded(*tasks[k].frames[0], end, reason);
    next = 0;
  };
  ChildLimits const limits = {decoderBytes + 2 * need,
                              decoderSeconds + static_cast<unsigned>(bytes / bytesPerSecond)};
  callInChild(tasks.size(), limits, send, received, ended);
}

}  // namespace

std::uint64_t workBytesFor(std::vector<Frame> const& frames) {
  std::uint64_t most = 0;
  for (Frame const& frame : frames) {
    most = std::max(most, isPlainFile(frame) ? storedBytes(frame) + 1 : decoderNeed(frame));
  }
  return most;
}

void readValues(std::vector<Frame> const& frames, TypeID type, std::byte* values) {
  std::map<fs::path, FileTask> tasks;
  PlainReader plain;
  for (Frame const& frame : frames) {
    if (isPlainFile(frame)) {
      plain.read(frame, type, values);
    } else {
      FileTask& task = tasks[frame.file];
      task.frames.push_back(&frame);
      task.targets.push_back(values);
    }
    values += voxelCount(frame.extents) * bytesOf(type);
  }
  std::vector<FileTask> all;
  for (auto& entry : tasks) all.push_back(std::move(entry.second));
  decode(all, type);
}

}  // namespace lorb::tools::dicom

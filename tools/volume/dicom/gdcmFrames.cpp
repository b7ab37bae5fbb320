#include "tools/volume/dicom/gdcmFrames.h"

#include "tools/base/errors.h"
#include "tools/volume/dicom/storedValues.h"

#include <gdcmPixmapReader.h>
#include <gdcmTrace.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <string_view>

namespace lorb::tools::dicom {
namespace {

/// What GDCM and its libraries say of data that they complete by guesses.
constexpr std::string_view wordsOfDamage[] = {"Incomplete Pixel Data", "Fragment could not be read",
                                              "Corrupt JPEG data", "Premature end of JPEG",
                                              "inconsistent with stream length"};

/// What is printed on standard error and written to GDCM's trace from now on.
class Complaints {
 public:
  Complaints() : file_(memfd_create("complaints", MFD_CLOEXEC)) {
    if (file_ >= 0) dup2(file_, STDERR_FILENO);
    gdcm::Trace::SetStream(trace_);
  }

  bool tellOfDamage() const {
    std::string const text = trace_.str() + printed();
    for (std::string_view const words : wordsOfDamage) {
      if (text.find(words) != std::string::npos) return true;
    }
    return false;
  }

 private:
  std::string printed() const {
    std::fflush(stderr);
    std::string text(1 << 16, '\0');
    ssize_t const size = pread(file_, text.data(), text.size(), 0);
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return text;
  }

  int file_;
  std::ostringstream trace_;
};

}  // namespace

void decodeFile(Frame const& frame, Decoded const& decoded) {
  // The process is a child and ends soon, so that standard error and the trace stay as they are.
  static Complaints const complaints;
  gdcm::PixmapReader reader;  // looks at no places, on some of which ImageReader crashes
  reader.SetFileName(frame.file.c_str());
  if (!reader.Read()) refuseInput(frame.file, "is damaged: its pixel data can't be read");
  gdcm::Pixmap const& image = reader.GetPixmap();
  std::uint64_t const expected = frame.frameCount * storedBytes(frame);
  std::vector<std::byte> elements(expected);
  bool const fits = image.GetBufferLength() == expected &&
                    image.GetPixelFormat().GetBitsAllocated() == frame.stored.allocatedBits;
  if (!fits) refuseInput(frame.file, "is damaged: its pixel data are of another size than its header says");
  if (!image.GetBuffer(reinterpret_cast<char*>(elements.data()))) {
    refuseInput(frame.file,
                "is damaged: its pixel data of coding " + frame.transferSyntax + " can't be decoded");
  }
  bool const isWhole = image.GetBufferLength() == expected &&
                       image.GetPixelFormat().GetBitsAllocated() == frame.stored.allocatedBits &&
                       !complaints.tellOfDamage();
  if (!isWhole) refuseInput(frame.file, "is incomplete: its pixel data are cut or damaged");
  decoded(elements);
}

}  // namespace lorb::tools::dicom

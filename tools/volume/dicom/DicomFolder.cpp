#include "tools/volume/dicom/DicomFolder.h"

#include "tools/base/childCalls.h"
#include "tools/base/errors.h"
#include "tools/base/parseNumber.h"
#include "tools/volume/DicomSeries.h"
#include "tools/volume/dicom/Frame.h"
#include "tools/volume/formatTable.h"

#include <gdcmMediaStorage.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

namespace lorb::tools::dicom {
namespace fs = std::filesystem;
namespace {

/// What reading a header may take beside the file's own size. Headers that promise what no file holds take
/// more.
constexpr std::uint64_t headerBytes = std::uint64_t(64) << 20;
constexpr unsigned headerSeconds = 20;

struct DamagedFile {
  fs::path path;
  std::string damage;
};

struct Scan {
  std::vector<ImageFile> images;
  std::vector<DamagedFile> damaged;  ///< what may well be slices, too
};

/// Slices have their own extension, none, or a number of a series; other files lie beside them.
bool isNamedLikeASlice(fs::path const& file) {
  std::string const extension = file.extension().string();
  return extension.empty() || parseInteger(extension.substr(1)) || formatOf(file) == &dicomFormat;
}

/// Whether a file without a header that can be read may be a slice all the same: unreadable and empty files
/// count as possible slices.
bool mayBeASlice(fs::path const& file) {
  if (file.filename().string().starts_with('.') || file.filename() == "DICOMDIR") return false;
  std::ifstream stream(file, std::ios::binary);
  return !stream || stream.peek() == EOF || isNamedLikeASlice(file) || isDicomFile(file);
}

/// The same for one with a header that describes no image: reports, plans and directories hold none.
bool promisesAnImage(ImageFile const& file) {
  std::string kind = file.attributes.of(0, tag::sopClass);
  if (kind.empty()) kind = file.attributes.of(0, tag::fileSopClass);
  if (kind.empty()) return mayBeASlice(file.path);
  return gdcm::MediaStorage::IsImage(gdcm::MediaStorage::GetMSType(kind.c_str()));
}

std::string whyNoHeader(fs::path const& file) {
  if (auto const reason = whyClosed(file)) return "can't be opened: " + *reason;
  return std::ifstream(file).peek() == EOF ? "is empty" : "is no DICOM image, or a damaged one";
}

std::string whyNoHeader(fs::path const& file, CallEnd end) {
  switch (end) {
    case CallEnd::crashed:
      return "is damaged: its reader fails on it altogether";
    case CallEnd::outOfTime:
      return "is damaged: its header takes too long to read";
    case CallEnd::outOfMemory:
      return "is damaged: its header takes too much memory";
    case CallEnd::returned:
    case CallEnd::threw:
      break;
  }
  return whyNoHeader(file);
}

/// Puts a file among the images or the damaged ones, if it is any.
void sortIn(Scan& scan, ImageFile file) {
  FileAttributes const& attributes = file.attributes;
  if (attributes.damage) return scan.damaged.push_back({file.path, *attributes.damage});
  if (!attributes.of(0, tag::rows).empty()) return scan.images.push_back(std::move(file));
  if (promisesAnImage(file)) scan.damaged.push_back({file.path, whyNoHeader(file.path)});
}

std::uint64_t largestOf(std::vector<fs::path> const& files) {
  std::uint64_t largest = 0;
  for (fs::path const& file : files) {
    std::error_code error;
    auto const size = fs::file_size(file, error);
    if (!error) largest = std::max<std::uint64_t>(largest, size);
  }
  return largest;
}

/// Reads the headers of all files in a child process, since GDCM ends on some of them, or takes whatever
/// memory they promise.
Scan scanOf(std::vector<fs::path> const& files) {
  Scan scan;
  std::optional<FileAttributes> attributes;
  auto const read = [&](std::size_t k, Send const& send) {
    if (auto const found = readAttributes(files[k])) send(packed(*found));
  };
  auto const received = [&](std::size_t, std::span<std::byte const> bytes) { attributes = unpacked(bytes); };
  auto const ended = [&](std::size_t k, CallEnd end, std::string const&) {
    if (end == CallEnd::returned && attributes) {
      sortIn(scan, {files[k], std::move(*attributes)});
    } else if (mayBeASlice(files[k])) {
      scan.damaged.push_back({files[k], whyNoHeader(files[k], end)});
    }
    attributes.reset();
  };
  callInChild(files.size(), {headerBytes + 4 * largestOf(files), headerSeconds}, read, received, ended);
  return scan;
}

std::vector<fs::path> filesIn(fs::path const& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (auto entry = fs::directory_iterator(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    std::error_code ignored;
    auto const type = entry->status(ignored).type();
    // A link that leads nowhere, or what can't be reached, stands for a file that should be there.
    bool const isMissing = type == fs::file_type::not_found || type == fs::file_type::none;
    if (isMissing || type == fs::file_type::regular) files.push_back(entry->path());
  }
  if (error) refuseInput(folder, "can't be listed: " + error.message());
  std::sort(files.begin(), files.end());
  return files;
}

/// All images of a folder. A series without a slice that can't be read would look like a shorter one.
std::vector<ImageFile> imagesIn(fs::path const& folder, InputChoice const& choice,
                                std::vector<std::string>& notices) {
  Scan scan = scanOf(filesIn(folder));
  if (scan.damaged.empty()) return std::move(scan.images);
  DamagedFile const& first = scan.damaged[0];
  std::size_t const more = scan.damaged.size() - 1;
  std::string const line = "input " + folder.string() + ": its file " + first.path.filename().string() + " " +
                           first.damage +
                           (more > 0 ? ", and " + std::to_string(more) + " more can't be read either" : "");
  if (!choice.skipDamaged) {
    throw InputError(line + "; expected slices alone, or --skip-damaged to go without it");
  }
  notices.push_back(line);
  return std::move(scan.images);
}

std::string const& seriesOf(ImageFile const& file) {
  return file.attributes.of(0, tag::seriesUid);
}

using Series = std::vector<ImageFile>;
using SeriesByUid = std::map<std::string, Series>;

std::uint64_t sliceCountOf(Series const& series) {
  std::uint64_t count = 0;
  for (ImageFile const& file : series) count += frameCountOf(file.attributes);
  return count;
}

std::string nameOf(Series const& series) {
  std::string name =
      seriesOf(series[0]) + " (" + std::to_string(series.size()) + (series.size() == 1 ? " file" : " files");
  for (Tag const part : {tag::modality, tag::seriesDescription}) {
    std::string const& text = series[0].attributes.of(0, part);
    if (!text.empty()) name += ", " + text;
  }
  return name + ")";
}

std::string listOf(SeriesByUid const& all) {
  std::string list;
  for (auto const& entry : all) list += (list.empty() ? "" : ", ") + nameOf(entry.second);
  return list;
}

Series chosenOf(SeriesByUid& all, fs::path const& folder, InputChoice const& choice,
                std::vector<std::string>& notices) {
  if (choice.series) {
    auto const series = all.find(*choice.series);
    if (series != all.end()) return std::move(series->second);
    refuseInput(folder,
                "has no series '" + *choice.series + "'; expected --series with one of " + listOf(all));
  }
  auto const largest = std::max_element(all.begin(), all.end(), [](auto const& a, auto const& b) {
    return sliceCountOf(a.second) < sliceCountOf(b.second);
  });
  if (all.size() > 1) {
    notices.push_back("input " + folder.string() + ": holds " + std::to_string(all.size()) +
                      " series; took the largest, " + largest->first + ", of " + listOf(all) +
                      "; --series picks another");
  }
  return std::move(largest->second);
}

Series seriesInFolder(fs::path const& folder, InputChoice const& choice, std::vector<std::string>& notices) {
  SeriesByUid all;
  for (ImageFile& file : imagesIn(folder, choice, notices)) all[seriesOf(file)].push_back(std::move(file));
  if (all.empty()) {
    refuseInput(folder, "is a folder without DICOM images; expected a file or such a folder");
  }
  return chosenOf(all, folder, choice, notices);
}

/// A file that is asked for by name: its image, or why there is none.
ImageFile imageIn(fs::path const& path) {
  Scan scan = scanOf({path});
  if (!scan.images.empty()) return std::move(scan.images[0]);
  if (!scan.damaged.empty()) refuseInput(path, scan.damaged[0].damage);
  refuseInput(path, "holds no DICOM image; expected a slice, or the folder of a series");
}

Series seriesOfFile(fs::path const& path, InputChoice const& choice, std::vector<std::string>& notices) {
  ImageFile own = imageIn(path);
  std::string const uid = seriesOf(own);
  if (choice.series && uid != *choice.series) {
    refuseInput(path, "belongs to series '" + uid + "', not to --series '" + *choice.series + "'");
  }
  Series series;
  if (frameCountOf(own.attributes) == 1 && !uid.empty()) {
    fs::path const folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
    series = imagesIn(folder, choice, notices);
    std::erase_if(series, [&](ImageFile const& file) { return seriesOf(file) != uid; });
  }
  if (series.empty()) series.push_back(std::move(own));
  return series;
}

}  // namespace

std::vector<ImageFile> chosenFiles(fs::path const& path, InputChoice const& choice,
                                   std::vector<std::string>& notices) {
  return fs::is_directory(path) ? seriesInFolder(path, choice, notices) : seriesOfFile(path, choice, notices);
}

}  // namespace lorb::tools::dicom

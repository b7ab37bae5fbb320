#include "tools/volume/DicomSeries.h"

#include "tools/base/SilencedStreams.h"
#include "tools/base/errors.h"
#include "tools/base/parseNumber.h"
#include "tools/volume/ItkVolumeSource.h"
#include "tools/volume/crashFence.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/itkImageIO.h"

#include <lorb/dataset/dump.h>

#include <gdcmMediaStorage.h>
#include <gdcmScanner.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <tuple>
#include <utility>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

struct Slice {
  fs::path file;
  std::string series, description, modality, orientation, size, scaling;
  std::optional<Vector3> position;
  int frames = 1;
  double height = 0.0;  ///< position along the normal
};

using Slices = std::vector<Slice>;

namespace tag {
gdcm::Tag const series(0x0020, 0x000e), description(0x0008, 0x103e), modality(0x0008, 0x0060),
    position(0x0020, 0x0032), orientation(0x0020, 0x0037), rows(0x0028, 0x0010), columns(0x0028, 0x0011),
    frames(0x0028, 0x0008), bits(0x0028, 0x0100), sign(0x0028, 0x0103), intercept(0x0028, 0x1052),
    slope(0x0028, 0x1053), kind(0x0008, 0x0016);
}

/// The numbers of a value such as "1.5\-2\0".
std::vector<double> numbersIn(std::string const& text) {
  std::vector<double> numbers;
  for (std::size_t begin = 0; begin <= text.size();) {
    std::size_t const end = std::min(text.find('\\', begin), text.size());
    std::string number = text.substr(begin, end - begin);
    std::erase(number, ' ');
    auto const value = parseNumber(number);
    if (!value) return {};
    numbers.push_back(static_cast<double>(*value));
    begin = end + 1;
  }
  return numbers;
}

std::optional<Vector3> vectorIn(std::string const& text) {
  auto const numbers = numbersIn(text);
  if (numbers.size() != 3) return std::nullopt;
  return Vector3{numbers[0], numbers[1], numbers[2]};
}

double dot(Vector3 const& a, Vector3 const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Slice sliceIn(gdcm::Scanner const& scanner, fs::path const& file) {
  auto const text = [&](gdcm::Tag const& tag) {
    char const* const value = scanner.GetValue(file.c_str(), tag);
    std::string result = value == nullptr ? "" : value;
    result.erase(result.find_last_not_of(std::string(" \0", 2)) + 1);
    return result;
  };
  Slice slice;
  slice.file = file;
  slice.series = text(tag::series);
  slice.description = text(tag::description);
  slice.modality = text(tag::modality);
  slice.orientation = text(tag::orientation);
  slice.size = text(tag::columns) + " × " + text(tag::rows);
  slice.scaling =
      text(tag::slope) + "|" + text(tag::intercept) + "|" + text(tag::bits) + "|" + text(tag::sign);
  slice.position = vectorIn(text(tag::position));
  slice.frames = parseInteger(text(tag::frames)).value_or(1);
  return slice;
}

struct Scan {
  Slices slices;
  std::vector<fs::path> damaged;  ///< what may well be slices, too
};

/// Slices have their own extension, none, or a number of a series; other files lie beside them.
bool isNamedLikeASlice(fs::path const& file) {
  std::string const extension = file.extension().string();
  return extension.empty() || parseInteger(extension.substr(1)) || formatOf(file) == &dicomFormat;
}

/// Whether a file that the scan knows nothing of may be a slice all the same. Nobody can tell for what is
/// empty or can't be opened, so that it may.
bool mayBeASlice(fs::path const& file) {
  if (file.filename().string().starts_with('.')) return false;
  std::ifstream stream(file, std::ios::binary);
  return !stream || stream.peek() == EOF || isNamedLikeASlice(file) || isDicomFile(file);
}

/// The same for one that the scan has read, but found no image in: reports, plans and folders' lists are
/// none.
bool promisesAnImage(gdcm::Scanner const& scanner, fs::path const& file) {
  if (!scanner.IsKey(file.c_str())) return mayBeASlice(file);
  char const* const kind = scanner.GetValue(file.c_str(), tag::kind);
  if (kind == nullptr) return mayBeASlice(file);
  return gdcm::MediaStorage::IsImage(gdcm::MediaStorage::GetMSType(kind));
}

/// What a scan of the files finds.
Scan scan(std::vector<fs::path> const& files) {
  SilencedStreams const silenced;
  gdcm::Scanner scanner;
  for (auto const& tag :
       {tag::series, tag::description, tag::modality, tag::position, tag::orientation, tag::rows,
        tag::columns, tag::frames, tag::bits, tag::sign, tag::intercept, tag::slope, tag::kind}) {
    scanner.AddTag(tag);
  }
  scanner.Scan({files.begin(), files.end()});
  Scan result;
  for (fs::path const& file : files) {
    if (scanner.IsKey(file.c_str()) && scanner.GetValue(file.c_str(), tag::rows) != nullptr) {
      result.slices.push_back(sliceIn(scanner, file));
    } else if (promisesAnImage(scanner, file)) {
      result.damaged.push_back(file);
    }
  }
  return result;
}

/// All images among the files. Those on which GDCM fails altogether are damaged.
Scan fencedScan(std::vector<fs::path> files) {
  auto const fatal = fatalCalls(files.size(), [&](std::size_t k) { scan({files[k]}); });
  std::vector<fs::path> damaged;
  for (auto k = fatal.rbegin(); k != fatal.rend(); ++k) {
    auto const file = files.begin() + static_cast<std::ptrdiff_t>(*k);
    if (mayBeASlice(*file)) damaged.push_back(*file);
    files.erase(file);
  }
  Scan result = scan(files);
  result.damaged.insert(result.damaged.end(), damaged.begin(), damaged.end());
  return result;
}

std::string whyNoSlice(fs::path const& file) {
  if (auto const reason = whyClosed(file)) return "can't be opened: " + *reason;
  return std::ifstream(file).peek() == EOF ? "is empty" : "is no DICOM image, or a damaged one";
}

/// Refuses a slice on whose pixels GDCM fails altogether.
void requireReadable(Slices const& slices) {
  auto const fatal = fatalCalls(slices.size(), [&](std::size_t k) {
    auto const source = openItkVolume(slices[k].file, {}, itkDicom);
    source->read(wholeRegion(source->header().extents));
  });
  if (!fatal.empty()) refuseInput(slices[fatal[0]].file, "is damaged: its reader fails on it altogether");
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
Slices slicesIn(fs::path const& folder, InputChoice const& choice, std::vector<std::string>& notices) {
  Scan scan = fencedScan(filesIn(folder));
  if (scan.damaged.empty()) return std::move(scan.slices);
  fs::path const& first = scan.damaged[0];
  std::size_t const more = scan.damaged.size() - 1;
  std::string const line = "input " + folder.string() + ": its file " + first.filename().string() + " " +
                           whyNoSlice(first) +
                           (more > 0 ? ", and " + std::to_string(more) + " more can't be read either" : "");
  if (!choice.uneven) throw InputError(line + "; expected slices alone, or --uneven to go without it");
  notices.push_back(line);
  return std::move(scan.slices);
}

std::string nameOfSeries(Slices const& slices) {
  std::string name =
      slices[0].series + " (" + std::to_string(slices.size()) + (slices.size() == 1 ? " file" : " files");
  for (std::string const& part : {slices[0].modality, slices[0].description}) {
    if (!part.empty()) name += ", " + part;
  }
  return name + ")";
}

using SeriesByUid = std::map<std::string, Slices>;

std::string listOf(SeriesByUid const& all) {
  std::string list;
  for (auto const& [uid, slices] : all) list += (list.empty() ? "" : ", ") + nameOfSeries(slices);
  return list;
}

Slices const& largestOf(SeriesByUid const& all) {
  return std::max_element(all.begin(), all.end(),
                          [](auto const& a, auto const& b) { return a.second.size() < b.second.size(); })
      ->second;
}

Slices chosenSeries(fs::path const& path, InputChoice const& choice, std::vector<std::string>& notices) {
  SeriesByUid all;
  for (Slice& slice : slicesIn(path, choice, notices)) all[slice.series].push_back(std::move(slice));
  if (all.empty()) refuseInput(path, "is a folder without DICOM images; expected a file or such a folder");
  if (choice.series) {
    auto const series = all.find(*choice.series);
    if (series != all.end()) return series->second;
    refuseInput(path, "has no series '" + *choice.series + "'; expected --series with one of " + listOf(all));
  }
  Slices const& largest = largestOf(all);
  if (all.size() > 1) {
    notices.push_back("input " + path.string() + ": holds " + std::to_string(all.size()) +
                      " series; took the largest, " + largest[0].series + ", of " + listOf(all) +
                      "; --series picks another");
  }
  return largest;
}

/// The series that a file belongs to.
Slices seriesOf(fs::path const& path, InputChoice const& choice, std::vector<std::string>& notices) {
  Slices const own = fencedScan({path}).slices;
  if (own.empty()) refuseInput(path, "is no DICOM image, or a damaged one");
  if (choice.series && own[0].series != *choice.series) {
    refuseInput(path, "belongs to series '" + own[0].series + "', not to --series '" + *choice.series + "'");
  }
  if (own[0].frames > 1 || own[0].series.empty()) return own;
  fs::path const folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  Slices slices = slicesIn(folder, choice, notices);
  std::erase_if(slices, [&](Slice const& slice) { return slice.series != own[0].series; });
  return slices.empty() ? own : slices;
}

/// The unit vector that stands on the slices.
std::optional<Vector3> normalOf(std::string const& orientation) {
  auto const n = numbersIn(orientation);
  if (n.size() != 6) return std::nullopt;
  Vector3 normal = {n[1] * n[5] - n[2] * n[4], n[2] * n[3] - n[0] * n[5], n[0] * n[4] - n[1] * n[3]};
  double const length = std::hypot(normal[0], normal[1], normal[2]);
  if (!(length > 0.5)) return std::nullopt;
  for (double& x : normal) x /= length;
  return normal;
}

/// Directions that differ by no more than what their decimal digits may are the same.
bool sameOrientation(std::string const& a, std::string const& b) {
  if (a == b) return true;
  auto const left = numbersIn(a), right = numbersIn(b);
  return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(),
                                                   [](double x, double y) { return std::abs(x - y) < 1e-4; });
}

/// Sorts the slices and tells what is between them.
class Stack {
 public:
  Stack(Slices slices, fs::path const& path) : slices_(std::move(slices)), path_(path) {
    for (Slice const& slice : slices_) requireLikeFirst(slice);
    auto const normal = normalOf(slices_[0].orientation);
    if (!normal) refuse("say no orientation, so that nobody knows their order; expected one");
    for (Slice& slice : slices_) {
      if (!slice.position) {
        refuse("are not all placed: " + slice.file.filename().string() + " has no position");
      }
      slice.height = dot(*slice.position, *normal);
    }
    std::stable_sort(slices_.begin(), slices_.end(),
                     [](Slice const& a, Slice const& b) { return a.height < b.height; });
    findSpacing();
    findShift(*normal);
  }

  Slices const& slices() const { return slices_; }
  double spacing() const { return spacing_; }

  /// What keeps the slices from filling a box; nothing when they do.
  std::optional<std::string> unevenness() const { return unevenness_; }

 private:
  [[noreturn]] void refuse(std::string const& what) const {
    refuseInput(path_, "the slices of series " + slices_[0].series + " " + what);
  }

  void requireLikeFirst(Slice const& slice) const {
    Slice const& first = slices_[0];
    std::string const names = first.file.filename().string() + " and " + slice.file.filename().string();
    if (slice.size != first.size) {
      refuse("differ in size: " + first.size + " and " + slice.size + " in " + names);
    }
    if (!sameOrientation(slice.orientation, first.orientation)) {
      refuse("are oriented differently: " + first.orientation + " and " + slice.orientation + " in " + names);
    }
    if (slice.frames > 1) {
      refuse("lie in several files of several frames, such as " + slice.file.filename().string() +
             "; expected one of them as input");
    }
  }

  double stepAfter(std::size_t k) const { return slices_[k + 1].height - slices_[k].height; }

  void findSpacing() {
    std::vector<double> steps;
    for (std::size_t k = 0; k + 1 < slices_.size(); ++k) {
      steps.push_back(stepAfter(k));
      if (steps.back() < 1e-3) {
        refuse("lie at the same place in " + slices_[k].file.filename().string() + " and " +
               slices_[k + 1].file.filename().string() + "; expected one volume");
      }
    }
    std::nth_element(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2),
                     steps.end());
    double const common = steps[steps.size() / 2];
    spacing_ = common;
    for (std::size_t k = 0; k + 1 < slices_.size(); ++k) {
      if (std::abs(stepAfter(k) - common) > 0.02 * common) return reportGap(k, common);
    }
    // Of even steps, the whole way tells the most.
    spacing_ = (slices_.back().height - slices_[0].height) / double(slices_.size() - 1);
  }

  void reportGap(std::size_t k, double common) {
    unevenness_ = "the slices of series " + slices_[0].series +
                  " are unevenly spaced: " + toMillimetres(stepAfter(k)) + " between " +
                  slices_[k].file.filename().string() + " and " + slices_[k + 1].file.filename().string() +
                  ", mostly " + toMillimetres(common);
  }

  void findShift(Vector3 const& normal) {
    Vector3 const& first = *slices_[0].position;
    Vector3 const& last = *slices_.back().position;
    double const height = slices_.back().height - slices_[0].height;
    Vector3 aside;
    for (std::size_t a = 0; a < 3; ++a) aside[a] = last[a] - first[a] - height * normal[a];
    double const shift = std::hypot(aside[0], aside[1], aside[2]);
    if (shift > 0.02 * height && !unevenness_) {
      unevenness_ = "the slices of series " + slices_[0].series + " are shifted against each other, by " +
                    toMillimetres(shift) + " from the first to the last, as with a tilted gantry";
    }
  }

  Slices slices_;
  fs::path path_;
  double spacing_ = 1.0;
  std::optional<std::string> unevenness_;
};

class DicomSeriesSource : public VolumeSource {
 public:
  explicit DicomSeriesSource(Stack const& stack) : slices_(stack.slices()) {
    fs::path const& first = slices_[0].file;
    auto const io = openImageIO(first, itkDicom);
    requireScalars(*io, first);
    header_.extents = extentsIn(*io, first);
    header_.extents[2] = slices_.size();
    header_.geometry = geometryIn(*io);
    header_.geometry.spacing[2] = stack.spacing();
    requirePlace(header_.geometry, first);
    bool const sameScale = std::all_of(slices_.begin(), slices_.end(), [&](Slice const& slice) {
      return slice.scaling == slices_[0].scaling;
    });
    // Slices that are scaled each in its own way come in types of their own; a double holds them all.
    header_.type = sameScale ? typeOf(io->GetComponentType()) : typeDouble;
    for (Slice const& slice : slices_) files.push_back(slice.file);
  }

  VolumeHeader const& header() const override { return header_; }
  bool readsParts() const override { return false; }
  std::uint64_t workBytes(Region const& region) const override {
    return 2 * 8 * region.size[0] * region.size[1];
  }

  std::unique_ptr<ImageDataset> read(Region const& region) override {
    auto voxels = makeVoxels(header_.type, region.size);
    std::uint64_t const sliceBytes = region.size[0] * region.size[1] * bytesOf(header_.type);
    auto* target = static_cast<std::byte*>(dataOf(*voxels));
    for (Slice const& slice : slices_) {
      readSlice(slice.file, target);
      target += sliceBytes;
    }
    return voxels;
  }

 private:
  void readSlice(fs::path const& file, std::byte* target) const {
    auto const io = openImageIO(file, itkDicom);
    requireScalars(*io, file);
    Extents const extents = extentsIn(*io, file);
    if (extents[0] != header_.extents[0] || extents[1] != header_.extents[1] || extents[2] != 1) {
      refuseInput(file, "holds " + toText(extents) + " voxels; expected " +
                            toText(Extents{header_.extents[0], header_.extents[1], 1}));
    }
    auto const slice = makeVoxels(typeOf(io->GetComponentType()), extents);
    readVoxels(*io, dataOf(*slice), file);
    dump(slice.get(), target, header_.type);
  }

  Slices slices_;
  VolumeHeader header_;
};

/// The volume of several files.
std::unique_ptr<VolumeSource> openStack(Slices slices, fs::path const& path, InputChoice const& choice,
                                        std::vector<std::string>& notices) {
  chosenVolume(1, choice, path);
  Stack const stack(std::move(slices), path);
  if (auto const unevenness = stack.unevenness()) {
    std::string const line = "input " + path.string() + ": " + *unevenness;
    if (!choice.uneven) throw InputError(line + "; expected --uneven to take them as if they were not");
    notices.push_back(line);
  }
  return std::make_unique<DicomSeriesSource>(stack);
}

}  // namespace

bool isDicomFile(fs::path const& path) {
  char head[132] = {};
  std::ifstream file(path, std::ios::binary);
  return file.read(head, sizeof head) && std::memcmp(head + 128, "DICM", 4) == 0;
}

std::unique_ptr<VolumeSource> openDicomSeries(fs::path const& path, InputChoice const& choice) {
  std::vector<std::string> notices;
  Slices slices =
      fs::is_directory(path) ? chosenSeries(path, choice, notices) : seriesOf(path, choice, notices);
  requireReadable(slices);
  bool const alone = slices.size() == 1;
  auto source = alone ? openItkVolume(slices[0].file, choice, itkDicom)
                      : openStack(std::move(slices), path, choice, notices);
  source->notices = std::move(notices);
  return source;
}

}  // namespace lorb::tools

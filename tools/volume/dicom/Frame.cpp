#include "tools/volume/dicom/Frame.h"

#include "tools/base/errors.h"
#include "tools/base/parseNumber.h"

#include <algorithm>
#include <cmath>

namespace lorb::tools::dicom {
namespace fs = std::filesystem;
namespace {

/// What cosines may lack of a unit vector, or of a right angle: scanners write few digits.
constexpr double cosineTolerance = 1e-3;

/// Files of more frames are damaged.
constexpr std::uint64_t mostFrames = 100000;

/// The numbers of a value such as "1.5\-2"; nothing when one is no finite number.
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

double dot(Vector3 const& a, Vector3 const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vector3 scaled(Vector3 const& v, double factor) {
  return {v[0] * factor, v[1] * factor, v[2] * factor};
}

/// Reads the values of one file.
class FileReader {
 public:
  FileReader(fs::path const& path, FileAttributes const& attributes) : path_(path), attributes_(attributes) {}

  std::vector<Frame> frames() const {
    std::uint64_t const count = frameCount();
    Frame const common = commonFrame(count);
    std::vector<Frame> frames(count, common);
    for (std::size_t k = 0; k < count; ++k) {
      Frame& frame = frames[k];
      frame.index = k;
      frame.position = position(k);
      frame.orientation = orientation(k);
      frame.slope = slope(k, "1");
      frame.intercept = number(k, tag::rescaleIntercept, "RescaleIntercept", "0");
      frame.spacing = spacing(k, frame.remarks);
      frame.thickness = thickness(k);
      frame.order = order(k);
    }
    if (count > 1 && attributes_.frames.empty()) placeByOffsets(frames);
    return frames;
  }

 private:
  [[noreturn]] void refuse(std::string const& what) const { refuseInput(path_, what); }

  std::uint64_t frameCount() const {
    std::uint64_t const count = frameCountOf(attributes_);
    std::string const text = attributes_.of(0, tag::numberOfFrames);
    if (count == 0 || count > mostFrames) {
      refuse("has NumberOfFrames '" + text + "'; expected a whole number from 1 to " +
             std::to_string(mostFrames));
    }
    if (!attributes_.frames.empty() && attributes_.frames.size() != count) {
      refuse("describes " + std::to_string(attributes_.frames.size()) + " frames; expected " +
             std::to_string(count) + ", as many as its NumberOfFrames");
    }
    return count;
  }

  Frame commonFrame(std::uint64_t count) const {
    Frame frame;
    frame.file = path_;
    frame.frameCount = count;
    requireGrey();
    frame.extents = {wholeNumber(tag::columns, "Columns", 1, 0xffff),
                     wholeNumber(tag::rows, "Rows", 1, 0xffff), 1};
    frame.stored = storedType();
    frame.transferSyntax = attributes_.of(0, tag::transferSyntax);
    frame.pixelOffset = attributes_.pixelOffset;
    if (attributes_.of(0, tag::photometric) == "MONOCHROME1") {
      frame.remarks.push_back(
          "is MONOCHROME1, which shows large values dark; its values are taken as they are stored, not "
          "inverted");
    }
    if (!attributes_.of(0, tag::modalityLut).empty()) {
      frame.remarks.push_back(
          "has a Modality LUT, which is not applied; its values are taken as they are stored");
    }
    return frame;
  }

  void requireGrey() const {
    std::string const samples = attributes_.of(0, tag::samplesPerPixel);
    std::string const kind = attributes_.of(0, tag::photometric);
    if (!samples.empty() && samples != "1") refuse("holds " + samples + " values a voxel; expected 1");
    if (kind.empty() || kind == "MONOCHROME1" || kind == "MONOCHROME2") return;
    refuse("holds pixels of kind " + kind + "; expected MONOCHROME2 or MONOCHROME1");
  }

  std::uint64_t wholeNumber(Tag tag, std::string const& name, int lowest, int highest) const {
    std::string const& text = attributes_.of(0, tag);
    auto const number = parseInteger(text);
    if (number && *number >= lowest && *number <= highest) return static_cast<std::uint64_t>(*number);
    refuse("has " + name + " '" + text + "'; expected a whole number from " + std::to_string(lowest) +
           " to " + std::to_string(highest));
  }

  StoredType storedType() const {
    StoredType type;
    std::string const& bits = attributes_.of(0, tag::bitsAllocated);
    if (bits != "1" && bits != "8" && bits != "16" && bits != "32") {
      refuse("has BitsAllocated '" + bits + "'; expected 1, 8, 16 or 32");
    }
    type.allocatedBits = *parseInteger(bits);
    type.storedBits = static_cast<int>(wholeNumber(tag::bitsStored, "BitsStored", 1, type.allocatedBits));
    if (!attributes_.of(0, tag::pixelRepresentation).empty()) {
      type.isSigned = wholeNumber(tag::pixelRepresentation, "PixelRepresentation", 0, 1) == 1;
    }
    if (attributes_.of(0, tag::highBit).empty()) return type;
    auto const high = wholeNumber(tag::highBit, "HighBit", 0, 31);
    if (high + 1 != static_cast<std::uint64_t>(type.storedBits)) {
      refuse("has HighBit " + std::to_string(high) + "; expected " + std::to_string(type.storedBits - 1) +
             ", one below BitsStored");
    }
    return type;
  }

  double number(std::size_t frame, Tag tag, std::string const& name, std::string const& otherwise) const {
    std::string const& text = attributes_.of(frame, tag);
    auto const numbers = numbersIn(text.empty() ? otherwise : text);
    if (numbers.size() == 1) return numbers[0];
    refuse("has " + name + " '" + text + "'; expected a finite number");
  }

  /// Doses have a scaling of their own in place of a slope.
  double slope(std::size_t frame, std::string const& otherwise) const {
    bool const isDose = !attributes_.of(frame, tag::doseGridScaling).empty();
    std::string const name = isDose ? "DoseGridScaling" : "RescaleSlope";
    double const slope = number(frame, isDose ? tag::doseGridScaling : tag::rescaleSlope, name, otherwise);
    if (slope == 0.0) refuse("has " + name + " 0; expected another number");
    return slope;
  }

  std::optional<Vector3> position(std::size_t frame) const {
    std::string const& text = attributes_.of(frame, tag::imagePosition);
    if (text.empty()) return std::nullopt;
    auto const p = numbersIn(text);
    if (p.size() != 3) {
      refuse("has ImagePositionPatient '" + text + "'; expected three finite numbers");
    }
    return Vector3{p[0], p[1], p[2]};
  }

  std::optional<Orientation> orientation(std::size_t frame) const {
    std::string const& text = attributes_.of(frame, tag::imageOrientation);
    if (text.empty()) return std::nullopt;
    auto const n = numbersIn(text);
    if (n.size() == 6) {
      Vector3 const row = {n[0], n[1], n[2]}, column = {n[3], n[4], n[5]};
      double const rowLength = std::sqrt(dot(row, row)), columnLength = std::sqrt(dot(column, column));
      bool const areUnit =
          std::abs(rowLength - 1.0) < cosineTolerance && std::abs(columnLength - 1.0) < cosineTolerance;
      if (areUnit && std::abs(dot(row, column)) < cosineTolerance) {
        return Orientation{scaled(row, 1.0 / rowLength), scaled(column, 1.0 / columnLength)};
      }
    }
    refuse("has ImageOrientationPatient '" + text +
           "'; expected the six cosines of two unit vectors at a right angle");
  }

  /// Two positive numbers; nothing for others.
  static std::optional<std::array<double, 2>> pairIn(std::string const& text) {
    auto const numbers = numbersIn(text);
    if (numbers.size() != 2 || !(numbers[0] > 0.0) || !(numbers[1] > 0.0)) return std::nullopt;
    return std::array<double, 2>{numbers[1], numbers[0]};  // the file has the one between rows first
  }

  std::optional<std::array<double, 2>> spacing(std::size_t frame, std::vector<std::string>& remarks) const {
    std::string const& text = attributes_.of(frame, tag::pixelSpacing);
    if (auto const spacing = pairIn(text)) return spacing;
    std::string const lack = text.empty()
                                 ? "has no PixelSpacing"
                                 : "has PixelSpacing '" + text + "', which is no two numbers above 0";
    auto const onDetector = pairIn(attributes_.of(frame, tag::imagerPixelSpacing));
    if (onDetector) {
      remarks.push_back(lack +
                        "; took its ImagerPixelSpacing, measured at the detector and not in the patient");
    } else {
      remarks.push_back(lack + "; distances in mm are unknown, and the map says 1 mm");
    }
    return onDetector;
  }

  std::optional<double> thickness(std::size_t frame) const {
    for (Tag const tag : {tag::spacingBetweenSlices, tag::sliceThickness}) {
      auto const numbers = numbersIn(attributes_.of(frame, tag));
      if (numbers.size() == 1 && numbers[0] != 0.0) return numbers[0];
    }
    return std::nullopt;
  }

  /// Of an enhanced image the indices that do not count places, of others the number of the file.
  std::vector<double> order(std::size_t frame) const {
    auto const indices = numbersIn(attributes_.of(frame, tag::dimensionIndexValues));
    auto const pointers = numbersIn(attributes_.of(frame, tag::dimensionIndexPointer));
    std::vector<double> order;
    for (std::size_t k = 0; k < indices.size() && indices.size() == pointers.size(); ++k) {
      if (!countsPlaces(static_cast<Tag>(pointers[k]))) order.push_back(indices[k]);
    }
    for (Tag const tag : {tag::temporalPosition, tag::instanceNumber}) {
      auto const numbers = numbersIn(attributes_.of(frame, tag));
      order.push_back(numbers.size() == 1 ? numbers[0] : 0.0);
    }
    order.push_back(static_cast<double>(frame));
    return order;
  }

  static bool countsPlaces(Tag pointer) {
    constexpr Tag stackId = 0x00209056, inStackPosition = 0x00209057;
    return pointer == tag::imagePosition || pointer == inStackPosition || pointer == stackId ||
           pointer == tag::imageOrientation;
  }

  /// Without functional groups, frames lie one behind the other along the normal: doses say where, and other
  /// images how far apart, if anything.
  void placeByOffsets(std::vector<Frame>& frames) const {
    Frame const first = frames[0];
    std::string const& text = attributes_.of(0, tag::gridFrameOffsets);
    auto offsets = numbersIn(text);
    if (text.empty() && first.thickness) {
      for (std::size_t k = 0; k < frames.size(); ++k) offsets.push_back(double(k) * *first.thickness);
    }
    if (!text.empty() && offsets.size() != frames.size()) {
      refuse("has " + std::to_string(offsets.size()) + " numbers in GridFrameOffsetVector; expected " +
             std::to_string(frames.size()) + ", one a frame");
    }
    for (std::size_t k = 0; k < frames.size(); ++k) {
      frames[k].position.reset();
      if (!first.position || !first.orientation || offsets.empty()) continue;
      Vector3 const normal = first.orientation->normal();
      Vector3 position = *first.position;
      for (std::size_t a = 0; a < 3; ++a) position[a] += (offsets[k] - offsets[0]) * normal[a];
      frames[k].position = position;
    }
  }

  fs::path const& path_;
  FileAttributes const& attributes_;
};

}  // namespace

std::int64_t StoredType::lowest() const {
  return isSigned ? -(std::int64_t(1) << (storedBits - 1)) : 0;
}

std::int64_t StoredType::highest() const {
  return (std::int64_t(1) << (isSigned ? storedBits - 1 : storedBits)) - 1;
}

Vector3 Orientation::normal() const {
  Vector3 const normal = {row[1] * column[2] - row[2] * column[1], row[2] * column[0] - row[0] * column[2],
                          row[0] * column[1] - row[1] * column[0]};
  return scaled(normal, 1.0 / std::sqrt(dot(normal, normal)));
}

std::string Frame::name() const {
  std::string const name = file.filename().string();
  return frameCount == 1 ? name : name + " frame " + std::to_string(index + 1);
}

std::uint64_t frameCountOf(FileAttributes const& attributes) {
  std::string const& text = attributes.of(0, tag::numberOfFrames);
  if (text.empty()) return 1;
  auto const number = parseInteger(text);
  return number && *number > 0 ? static_cast<std::uint64_t>(*number) : 0;
}

std::vector<Frame> framesOf(fs::path const& path, FileAttributes const& attributes) {
  return FileReader(path, attributes).frames();
}

}  // namespace lorb::tools::dicom

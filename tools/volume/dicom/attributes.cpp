#include "tools/volume/dicom/attributes.h"

#include "tools/volume/dicom/pixelData.h"

#include <gdcmReader.h>
#include <gdcmSequenceOfItems.h>

#include <cstring>
#include <fstream>
#include <set>

namespace lorb::tools::dicom {
namespace fs = std::filesystem;
namespace {

/// How a value is kept in the file.
enum class Kind { text, numbers16, numbers32, tags };

struct Row {
  Tag tag;
  Kind kind = Kind::text;
};

/// What is read from the root of a file.
constexpr Row rootRows[] = {
    {tag::sopClass},
    {tag::modality},
    {tag::seriesDescription},
    {tag::sliceThickness},
    {tag::spacingBetweenSlices},
    {tag::imagerPixelSpacing},
    {tag::seriesUid},
    {tag::instanceNumber},
    {tag::imagePosition},
    {tag::imageOrientation},
    {tag::samplesPerPixel, Kind::numbers16},
    {tag::photometric},
    {tag::numberOfFrames},
    {tag::rows, Kind::numbers16},
    {tag::columns, Kind::numbers16},
    {tag::pixelSpacing},
    {tag::bitsAllocated, Kind::numbers16},
    {tag::bitsStored, Kind::numbers16},
    {tag::highBit, Kind::numbers16},
    {tag::pixelRepresentation, Kind::numbers16},
    {tag::rescaleIntercept},
    {tag::rescaleSlope},
    {tag::gridFrameOffsets},
    {tag::doseGridScaling},
};

/// What is read from the functional groups, with the sequence that holds it.
struct GroupRow {
  Tag sequence;
  Row row;
};
constexpr GroupRow groupRows[] = {
    {0x00289110, {tag::pixelSpacing}},
    {0x00289110, {tag::sliceThickness}},
    {0x00289110, {tag::spacingBetweenSlices}},
    {0x00209113, {tag::imagePosition}},
    {0x00209116, {tag::imageOrientation}},
    {0x00289145, {tag::rescaleIntercept}},
    {0x00289145, {tag::rescaleSlope}},
    {0x00209111, {tag::dimensionIndexValues, Kind::numbers32}},
    {0x00209111, {tag::temporalPosition, Kind::numbers32}},
};

constexpr Tag sharedGroups = 0x52009229, perFrameGroups = 0x52009230, dimensionIndices = 0x00209222,
              detectors = 0x00540022, pixelDataTag = 0x7fe00010;

/// Enhanced images hold thousands of frames at most.
constexpr std::size_t mostFrames = 100000;

gdcm::Tag gdcmTag(Tag tag) {
  return gdcm::Tag(tag);
}

/// Without what some languages' character sets and padding leave, neither of which a message can print.
std::string printable(std::string text) {
  constexpr std::string_view blanks(" \0\n\r\t", 5);
  text.erase(text.find_last_not_of(blanks) + 1);
  text.erase(0, text.find_first_not_of(blanks));
  for (char& c : text) {
    if (c < ' ' || c > '~') c = '?';
  }
  return text;
}

template <class Number>
std::string numbersIn(gdcm::ByteValue const& value) {
  std::string text;
  for (std::size_t k = 0; k + sizeof(Number) <= value.GetLength(); k += sizeof(Number)) {
    Number number;
    std::memcpy(&number, value.GetPointer() + k, sizeof number);
    text += (text.empty() ? "" : "\\") + std::to_string(number);
  }
  return text;
}

/// Tags are kept as two numbers each.
std::string tagsIn(gdcm::ByteValue const& value) {
  std::uint16_t parts[2] = {0, 0};
  if (value.GetLength() < sizeof parts) return {};
  std::memcpy(parts, value.GetPointer(), sizeof parts);
  return std::to_string(Tag(parts[0]) << 16 | parts[1]);
}

std::string valueIn(gdcm::DataSet const& data, Row const& row) {
  gdcm::Tag const tag = gdcmTag(row.tag);
  if (!data.FindDataElement(tag)) return {};
  gdcm::ByteValue const* const value = data.GetDataElement(tag).GetByteValue();
  if (value == nullptr || value->GetPointer() == nullptr) return {};
  switch (row.kind) {
    case Kind::text:
      return printable({value->GetPointer(), value->GetLength()});
    case Kind::numbers16:
      return numbersIn<std::uint16_t>(*value);
    case Kind::numbers32:
      return numbersIn<std::uint32_t>(*value);
    case Kind::tags:
      return tagsIn(*value);
  }
  return {};
}

/// Puts the value among the others unless it is empty.
void add(Attributes& attributes, gdcm::DataSet const& data, Row const& row) {
  std::string text = valueIn(data, row);
  if (!text.empty()) attributes[row.tag] = std::move(text);
}

/// The items of a sequence; none when there is no such sequence.
std::vector<gdcm::DataSet const*> itemsOf(gdcm::DataSet const& data, Tag sequence,
                                          gdcm::SmartPointer<gdcm::SequenceOfItems>& keeper) {
  std::vector<gdcm::DataSet const*> items;
  if (!data.FindDataElement(gdcmTag(sequence))) return items;
  keeper = data.GetDataElement(gdcmTag(sequence)).GetValueAsSQ();
  if (!keeper) return items;
  for (auto item = keeper->Begin(); item != keeper->End(); ++item) items.push_back(&item->GetNestedDataSet());
  return items;
}

using Keeper = gdcm::SmartPointer<gdcm::SequenceOfItems>;

/// The functional groups of one frame, or of all.
void addGroups(Attributes& attributes, gdcm::DataSet const& groups) {
  for (GroupRow const& group : groupRows) {
    Keeper keeper;
    auto const items = itemsOf(groups, group.sequence, keeper);
    if (!items.empty()) add(attributes, *items[0], group.row);
  }
}

/// Which attributes the dimension indices of frames refer to.
void addDimensions(Attributes& attributes, gdcm::DataSet const& root) {
  Keeper keeper;
  std::string pointers;
  for (auto const* item : itemsOf(root, dimensionIndices, keeper)) {
    pointers += (pointers.empty() ? "" : "\\") + valueIn(*item, {tag::dimensionIndexPointer, Kind::tags});
  }
  if (!pointers.empty()) attributes[tag::dimensionIndexPointer] = pointers;
}

/// Nuclear medicine keeps the place with the detector.
void addDetectorPlace(Attributes& attributes, gdcm::DataSet const& root) {
  Keeper keeper;
  auto const items = itemsOf(root, detectors, keeper);
  if (items.empty()) return;
  for (Tag const place : {tag::imagePosition, tag::imageOrientation}) {
    if (attributes.count(place) == 0) add(attributes, *items[0], {place});
  }
}

FileAttributes attributesIn(gdcm::File const& file) {
  FileAttributes result;
  gdcm::DataSet const& root = file.GetDataSet();
  gdcm::FileMetaInformation const& meta = file.GetHeader();
  add(result.shared, meta, {tag::fileSopClass});
  add(result.shared, meta, {tag::transferSyntax});
  for (Row const& row : rootRows) add(result.shared, root, row);
  addDetectorPlace(result.shared, root);
  addDimensions(result.shared, root);
  Keeper keeper;
  if (!itemsOf(root, tag::modalityLut, keeper).empty()) result.shared[tag::modalityLut] = "present";
  for (auto const* groups : itemsOf(root, sharedGroups, keeper)) addGroups(result.shared, *groups);
  auto const frames = itemsOf(root, perFrameGroups, keeper);
  for (std::size_t k = 0; k < frames.size() && k < mostFrames; ++k) {
    addGroups(result.frames.emplace_back(), *frames[k]);
  }
  return result;
}

class Packer {
 public:
  void number(std::uint64_t value) { append(&value, sizeof value); }
  void text(std::string const& value) {
    number(value.size());
    append(value.data(), value.size());
  }
  void attributes(Attributes const& values) {
    number(values.size());
    for (auto const& entry : values) {
      number(entry.first);
      text(entry.second);
    }
  }
  std::vector<std::byte> take() { return std::move(bytes_); }

 private:
  void append(void const* source, std::size_t size) {
    auto const* const begin = static_cast<std::byte const*>(source);
    bytes_.insert(bytes_.end(), begin, begin + size);
  }
  std::vector<std::byte> bytes_;
};

class Unpacker {
 public:
  explicit Unpacker(std::span<std::byte const> bytes) : rest_(bytes) {}
  std::uint64_t number() {
    std::uint64_t value = 0;
    std::memcpy(&value, next(sizeof value).data(), sizeof value);
    return value;
  }
  std::string text() {
    auto const bytes = next(number());
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
  }
  Attributes attributes() {
    Attributes values;
    for (std::uint64_t count = number(); count > 0; --count) {
      auto const tag = static_cast<Tag>(number());
      values[tag] = text();
    }
    return values;
  }

 private:
  std::span<std::byte const> next(std::uint64_t size) {
    if (size > rest_.size()) throw std::length_error("packed attributes are cut");
    auto const bytes = rest_.first(size);
    rest_ = rest_.subspan(size);
    return bytes;
  }
  std::span<std::byte const> rest_;
};

}  // namespace

std::string const& FileAttributes::of(std::size_t frame, Tag tag) const {
  static std::string const none;
  if (frame < frames.size()) {
    auto const own = frames[frame].find(tag);
    if (own != frames[frame].end()) return own->second;
  }
  auto const common = shared.find(tag);
  return common == shared.end() ? none : common->second;
}

std::optional<FileAttributes> readAttributes(fs::path const& path) {
  std::ifstream stream(path, std::ios::binary);
  gdcm::Reader reader;
  reader.SetStream(stream);
  // The value of the pixel data is skipped, so that the stream then stands where it begins.
  std::set<gdcm::Tag> const skipped = {gdcmTag(pixelDataTag)};
  if (!stream || !reader.ReadUpToTag(gdcmTag(pixelDataTag), skipped)) return std::nullopt;
  FileAttributes attributes = attributesIn(reader.GetFile());
  stream.clear();
  auto const position = stream.tellg();
  examinePixelData(path, position < 0 ? 0 : static_cast<std::uint64_t>(position), attributes);
  return attributes;
}

std::vector<std::byte> packed(FileAttributes const& attributes) {
  Packer packer;
  packer.attributes(attributes.shared);
  packer.number(attributes.frames.size());
  for (Attributes const& frame : attributes.frames) packer.attributes(frame);
  packer.number(attributes.damage.has_value());
  packer.text(attributes.damage.value_or(""));
  packer.number(attributes.pixelOffset);
  return packer.take();
}

FileAttributes unpacked(std::span<std::byte const> bytes) {
  Unpacker unpacker(bytes);
  FileAttributes attributes;
  attributes.shared = unpacker.attributes();
  for (std::uint64_t count = unpacker.number(); count > 0; --count) {
    attributes.frames.push_back(unpacker.attributes());
  }
  bool const isDamaged = unpacker.number() != 0;
  std::string const damage = unpacker.text();
  if (isDamaged) attributes.damage = damage;
  attributes.pixelOffset = unpacker.number();
  return attributes;
}

}  // namespace lorb::tools::dicom

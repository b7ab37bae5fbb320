#include "tools/volume/TextNumbers.h"

#include "tools/base/errors.h"
#include "tools/base/parseNumber.h"
#include "tools/volume/Volume.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <type_traits>

namespace lorb::tools {

TextNumbers::TextNumbers(StoredBytes const& stored)
    : stored_(stored), stream_(stored.file, std::ios::binary) {
  stream_.seekg(static_cast<std::streamoff>(stored.offset));
  if (!stream_) refuseInput(stored.input, "can't be opened");
}

bool TextNumbers::nextWord() {
  if (stream_ >> word_) return true;
  if (stream_.bad()) refuseInput(stored_.input, "can't be read to its end");
  return false;
}

void TextNumbers::refuseEnd() const {
  refuseInput(stored_.input, "is damaged or incomplete: holds " + std::to_string(position_) +
                                 " numbers; expected " + std::to_string(stored_.size));
}

void TextNumbers::skipTo(std::uint64_t first) {
  if (first < position_) {
    stream_.clear();
    stream_.seekg(static_cast<std::streamoff>(stored_.offset));
    position_ = 0;
  }
  for (; position_ < first; ++position_) {
    if (!nextWord()) refuseEnd();
  }
}

void TextNumbers::requireEnd() {
  if (position_ < stored_.size || !nextWord()) return;
  refuseInput(stored_.input, "is damaged: holds more than " + std::to_string(stored_.size) +
                                 " numbers; expected " + std::to_string(stored_.size));
}

template <class T>
T TextNumbers::element() const {
  if constexpr (std::is_floating_point_v<T>) {
    char* end = nullptr;
    double const number = std::strtod(word_.c_str(), &end);
    if (*end == '\0') return static_cast<T>(number);
  } else {
    using Limits = std::numeric_limits<T>;
    auto const number = parseNumber(word_);
    if (number && *number >= ExactNumber(Limits::lowest()) && *number <= ExactNumber(Limits::max()) &&
        *number == std::floor(*number)) {
      return static_cast<T>(*number);
    }
  }
  refuseInput(stored_.input, "is damaged or incomplete: holds " + std::to_string(position_) +
                                 " numbers, then '" + word_ + "'; expected " + std::to_string(stored_.size) +
                                 " numbers of type " + nameOf(typeIDOf<T>));
}

void TextNumbers::read(std::uint64_t first, std::uint64_t count, TypeID type, void* elements) {
  skipTo(first);
  visitElementType(type, [&]<class T>(std::type_identity<T>) {
    for (std::uint64_t k = 0; k < count; ++k, ++position_) {
      if (!nextWord()) refuseEnd();
      static_cast<T*>(elements)[k] = element<T>();
    }
  });
  requireEnd();
}

}  // namespace lorb::tools

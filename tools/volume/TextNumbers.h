// Voxels that a file holds as text: numbers between white space.
#pragma once

#include "tools/volume/ByteSource.h"

#include <lorb/dataset/ImageDataset.h>

#include <cstdint>
#include <fstream>
#include <string>

namespace lorb::tools {

class TextNumbers {
 public:
  /// `stored.size` numbers, which go on to the end of the file.
  explicit TextNumbers(StoredBytes const& stored);

  /// Reads the numbers from number `first` on as `count` elements of the type. Throws `InputError` when there
  /// are fewer in the file, or after the last of all still more, and for words that are no numbers of the
  /// type. Going back costs as much as reading from the beginning.
  void read(std::uint64_t first, std::uint64_t count, TypeID type, void* elements);

 private:
  bool nextWord();
  void skipTo(std::uint64_t first);
  void requireEnd();
  [[noreturn]] void refuseEnd() const;
  template <class T>
  T element() const;

  StoredBytes stored_;
  std::ifstream stream_;
  std::string word_;
  std::uint64_t position_ = 0;
};

}  // namespace lorb::tools

#include "tools/volume/PngFile.h"

#include "tools/base/errors.h"

#include <png.h>

#include <bit>
#include <csetjmp>
#include <new>
#include <utility>
#include <vector>

namespace lorb::tools {
namespace {

/// libpng must not return from an error, and prints it otherwise.
[[noreturn]] void leave(png_structp png, png_const_charp) {
  png_longjmp(png, 1);
}

void ignore(png_structp, png_const_charp) {}

}  // namespace

struct PngFile::Reader {
  std::FILE* file = nullptr;
  png_structp png = nullptr;
  png_infop info = nullptr;

  ~Reader() {
    if (png != nullptr) png_destroy_read_struct(&png, &info, nullptr);
    if (file != nullptr) std::fclose(file);
  }

  // Functions that libpng leaves by a jump have no objects that would have to be destroyed.

  bool readHeader() const {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_init_io(png, file);
    constexpr png_uint_32 most = 1U << 30;
    png_set_user_limits(png, most, most);
    png_read_info(png, info);
    return true;
  }

  bool readRows(png_bytepp rows) const {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    png_set_packing(png);  // a byte for each pixel of fewer bits
    if (std::endian::native == std::endian::little) png_set_swap(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    png_read_image(png, rows);
    png_read_end(png, nullptr);
    return true;
  }
};

PngFile::PngFile(std::filesystem::path path) : path_(std::move(path)), reader_(std::make_unique<Reader>()) {
  reader_->file = std::fopen(path_.c_str(), "rb");
  if (reader_->file == nullptr) refuseInput(path_, "can't be opened");
  reader_->png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, leave, ignore);
  if (reader_->png != nullptr) reader_->info = png_create_info_struct(reader_->png);
  if (reader_->info == nullptr) throw std::bad_alloc();
  if (!reader_->readHeader()) refuseInput(path_, "is no PNG file, or a damaged one");
  png_structp const png = reader_->png;
  header_.width = png_get_image_width(png, reader_->info);
  header_.height = png_get_image_height(png, reader_->info);
  header_.bits = png_get_bit_depth(png, reader_->info);
  header_.colourType = png_get_color_type(png, reader_->info);
  int unit = PNG_RESOLUTION_UNKNOWN;
  png_uint_32 x = 0, y = 0;
  if (png_get_pHYs(png, reader_->info, &x, &y, &unit) != 0 && unit == PNG_RESOLUTION_METER) {
    header_.perMetreX = x;
    header_.perMetreY = y;
  }
}

PngFile::~PngFile() = default;

void PngFile::read(std::byte* pixels) {
  std::uint64_t const rowBytes = std::uint64_t{header_.width} * (header_.bits == 16 ? 2 : 1);
  std::vector<png_bytep> rows(header_.height);
  for (std::uint64_t y = 0; y < header_.height; ++y) {
    rows[y] = reinterpret_cast<png_bytep>(pixels + y * rowBytes);
  }
  if (!reader_->readRows(rows.data())) refuseInput(path_, "is damaged or incomplete");
}

}  // namespace lorb::tools

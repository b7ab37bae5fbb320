#include "tools/picture/preview.h"

#include "tests/tools/DecodedPicture.h"
#include "tests/tools/TemporaryFolder.h"
#include "tools/base/errors.h"
#include "tools/picture/divergingColours.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stdexcept>

namespace lorb::tools {
namespace {

constexpr Colour frame{150, 150, 150};

using InsideAt = std::function<bool(std::uint64_t x, std::uint64_t y, std::uint64_t z)>;

DistanceMap mapOf(Extents const& extents, InsideAt const& inside,
                  Plane plane = EuclideanDistanceTransform2D::planeXY) {
  TImageDataset<unsigned char, 3> mask(extents);
  for (std::uint64_t z = 0; z < extents[2]; ++z) {
    for (std::uint64_t y = 0; y < extents[1]; ++y) {
      for (std::uint64_t x = 0; x < extents[0]; ++x) mask(x, y, z) = inside(x, y, z);
    }
  }
  return distanceMap(mask, {.choice = {.plane = plane}});
}

/// Inside is the left half: distances 1 to 4 on both sides of x = 4, all of which the colours show.
DistanceMap halves(Extents const& extents = {8, 8, 1}) {
  return mapOf(extents, [](std::uint64_t x, auto, auto) { return x < 4; });
}

std::string pngOf(DistanceMap const& map, PreviewSettings const& settings = {},
                  ImageDataset const* grey = nullptr) {
  Preview preview(extentsOf(map), settings);
  preview.add(map, grey);
  return preview.png();
}

/// What lies within the frame of the only panel of a picture, or of the first of a row.
struct Panel {
  DecodedPicture const& picture;
  int left = 0, top = 0, width = 0, height = 0;

  explicit Panel(DecodedPicture const& of) : picture(of) {
    for (int y = 0; y < of.height && top == 0; ++y) {
      for (int x = 0; x < of.width && top == 0; ++x) {
        if (of.at(x, y) == frame && of.at(x + 9, y) == frame && of.at(x, y + 9) == frame)
          left = x + 1, top = y + 1;
      }
    }
    while (of.at(left + width, top - 1) == frame && of.at(left + width, top) != frame) ++width;
    while (of.at(left - 1, top + height) == frame && of.at(left, top + height) != frame) ++height;
  }

  /// At fractions of both sides.
  Colour at(double x, double y) const {
    return picture.at(left + static_cast<int>(x * width), top + static_cast<int>(y * height));
  }
  int darkPixels() const {
    int count = 0;
    for (int y = top; y < top + height; ++y) {
      for (int x = left; x < left + width; ++x) count += difference(picture.at(x, y), {20, 20, 20}) < 30;
    }
    return count;
  }
};

TEST(Preview, DrawsTheBoundaryHalfwayBetweenVoxels) {
  DecodedPicture const picture(pngOf(halves()));
  Panel const panel(picture);
  ASSERT_GT(panel.width, 500);
  for (double const y : {0.002, 0.25, 0.5, 0.998}) {
    for (int x = 0; x < panel.width; ++x) {
      bool const dark = picture.at(panel.left + x, panel.top + static_cast<int>(y * panel.height)).red < 60 &&
                        picture.at(panel.left + x, panel.top + static_cast<int>(y * panel.height)).blue < 60;
      EXPECT_EQ(dark, std::abs(x + 0.5 - panel.width / 2.0) < 1) << x << " at " << y;
    }
  }
}

TEST(Preview, GivesEveryDistanceItsColour) {
  DecodedPicture const picture(pngOf(halves()));
  Panel const panel(picture);
  double const distances[] = {-4, -3, -2, -1, 1, 2, 3, 4};
  for (int i = 0; i < 8; ++i) {
    EXPECT_LE(difference(panel.at((i + 0.5) / 8, 0.3), divergingColour(distances[i] / 4)), 2) << i;
  }
  EXPECT_LE(difference(panel.at(5.0 / 8, 0.3), divergingColour(1.0 / 4 + 1.0 / 8)), 2) << "between centres";
}

TEST(Preview, KeepsThePixelAspectRatio) {
  for (auto const& [spacing, ratio] : {std::pair{Vector3{1, 1, 1}, 1.0}, std::pair{Vector3{1, 2, 1}, 0.5},
                                       std::pair{Vector3{3, 1, 7}, 3.0}}) {
    DecodedPicture const picture(pngOf(halves(), {.spacing = spacing}));
    Panel const panel(picture);
    EXPECT_NEAR(double(panel.width) / panel.height, ratio, 0.01);
  }
}

TEST(Preview, ShowsOtherPlanesByTheirSpacing) {
  auto const plane = EuclideanDistanceTransform2D::planeXZ;
  DistanceMap const map = mapOf(
      {8, 1, 4}, [](std::uint64_t x, auto, auto) { return x < 4; }, plane);
  DecodedPicture const picture(pngOf(map, {.choice = {plane}, .spacing = {1, 9, 3}}));
  Panel const panel(picture);
  EXPECT_NEAR(double(panel.width) / panel.height, 8.0 / 12.0, 0.01);
  EXPECT_LE(difference(panel.at(0.5 / 8, 0.5), divergingColour(-1)), 2);
}

TEST(Preview, TurnsSlicesAsTheirDirectionsSay) {
  DistanceMap const map =
      mapOf({8, 8, 1}, [](std::uint64_t x, std::uint64_t y, auto) { return x < 2 && y < 2; });
  auto const redAt = [&](std::optional<Directions> const& directions, double x, double y) {
    DecodedPicture const picture(pngOf(map, {.directions = directions}));
    return Panel(picture).at(x, y).red > Panel(picture).at(x, y).blue;
  };
  EXPECT_FALSE(redAt(std::nullopt, 0.1, 0.1));
  EXPECT_TRUE(redAt(std::nullopt, 0.9, 0.9));
  Directions const rightAnterior = {{{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}};
  EXPECT_TRUE(redAt(rightAnterior, 0.1, 0.1));
  EXPECT_FALSE(redAt(rightAnterior, 0.9, 0.9));
}

TEST(Preview, LettersOfSidesStandOnPlates) {
  DistanceMap const stripes =
      mapOf({100, 100, 1}, [](std::uint64_t x, std::uint64_t y, auto) { return (x + y) % 2 == 0; });
  auto const lightAtTop = [&](std::optional<Directions> const& directions) {
    DecodedPicture const picture(pngOf(stripes, {.directions = directions}));
    Panel const panel(picture);
    int light = 0;
    for (int y = panel.top + 6; y < panel.top + 26; ++y) {
      for (int x = panel.left + panel.width / 2 - 10; x < panel.left + panel.width / 2 + 10; ++x) {
        light += difference(picture.at(x, y), {255, 255, 255}) < 60;
      }
    }
    return light;
  };
  Directions const axial = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  EXPECT_GT(lightAtTop(axial), 250) << "of 400 pixels, some of which are the letter's";
  EXPECT_LT(lightAtTop(std::nullopt), 250);
}

TEST(Preview, NotesTheSidesWhereThereIsNoRoomForLetters) {
  // Symmetrical, so that only what is written of left and right can differ.
  DistanceMap const narrow = mapOf({2, 40, 1}, [](auto, std::uint64_t y, auto) { return y < 20; });
  Directions const toTheLeft = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  Directions const sagittal = {{{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}};  // columns: to P, S and L
  DecodedPicture const axial(pngOf(narrow, {.directions = toTheLeft}));
  DecodedPicture const other(pngOf(narrow, {.directions = sagittal}));
  ASSERT_LT(Panel(axial).width, 100);
  auto const notePixels = [](DecodedPicture const& picture) {
    int dark = 0;
    Panel const panel(picture);
    for (int y = panel.top + panel.height + 10; y < picture.height; ++y) {
      for (int x = 0; x < picture.width; ++x) dark += difference(picture.at(x, y), {20, 20, 20}) < 30;
    }
    return dark;
  };
  EXPECT_GT(notePixels(axial), 300);
  EXPECT_NE(notePixels(axial), notePixels(other)) << "other letters";
}

TEST(Preview, NotesThatSidesAreUnknown) {
  Directions const axial = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  int const without = DecodedPicture(pngOf(halves())).height;
  int const with = DecodedPicture(pngOf(halves(), {.directions = axial})).height;
  EXPECT_GT(without, with) << "by the line of the note";
}

TEST(Preview, SlicesWithoutABoundaryLeaveTheColoursAlone) {
  for (bool const full : {false, true}) {
    DistanceMap const map =
        mapOf({8, 8, 2}, [&](std::uint64_t x, auto, std::uint64_t z) { return z == 0 ? x < 4 : full; });
    ASSERT_EQ(std::abs(map(0, 0, 1)), std::sqrt(128.0F));
    DecodedPicture const picture(pngOf(map));
    Panel const panel(picture);
    EXPECT_LE(difference(panel.at(0.5 / 8, 0.3), divergingColour(-1)), 2);
    EXPECT_LE(difference(panel.at(6.5 / 8, 0.3), divergingColour(0.75)), 2);
  }
}

TEST(Preview, SaysThatThereIsNoBoundary) {
  auto const picture = [](float value) {
    DistanceMap map({8, 8, 1});
    for (float& voxel : map.voxels()) voxel = value;
    return DecodedPicture(pngOf(map));
  };
  for (float const value : {128.0F, -128.0F, 0.0F, NAN}) {
    DecodedPicture const drawn = picture(value);
    Panel const panel(drawn);
    EXPECT_EQ(panel.at(0.1, 0.1), (Colour{238, 238, 238})) << value;
    EXPECT_GT(panel.darkPixels(), 300) << value << ": the words";
    EXPECT_LT(drawn.width - panel.left - panel.width, 40) << value << ": no colour bar";
  }
  EXPECT_NE(picture(128).pixels, picture(-128).pixels) << "the words tell inside from outside";
}

TEST(Preview, LeavesNanWithoutColour) {
  DistanceMap map = halves();
  map(6, 2, 0) = NAN;
  DecodedPicture const picture(pngOf(map));
  Panel const panel(picture);
  EXPECT_EQ(panel.at(6.5 / 8, 2.5 / 8), (Colour{165, 165, 165}));
  EXPECT_LE(difference(panel.at(6.5 / 8, 6.5 / 8), divergingColour(0.75)), 2);
}

TEST(Preview, LaysColoursOnTheGreyImage) {
  TImageDataset<short, 3> grey({8, 8, 1});
  for (std::uint64_t y = 0; y < 8; ++y) {
    for (std::uint64_t x = 0; x < 8; ++x) grey(x, y, 0) = y < 4 ? -1000 : 500;
  }
  DecodedPicture const picture(pngOf(halves(), {}, &grey));
  Panel const panel(picture);
  Colour const dark{40, 40, 40}, white{255, 255, 255};
  EXPECT_LE(difference(panel.at(0.5 / 8, 1.5 / 8), blended(dark, divergingColour(-1), 0.8)), 2);
  EXPECT_LE(difference(panel.at(6.5 / 8, 6.5 / 8), blended(white, divergingColour(0.75), 0.675)), 2)
      << "nearer the boundary more of the image shows";
}

TEST(Preview, ShowsEvenlySpacedSlices) {
  EXPECT_EQ(Preview({4, 4, 100}, {.sliceCount = 4}).slices(), (std::vector<std::uint64_t>{12, 37, 62, 87}));
  EXPECT_EQ(Preview({4, 4, 3}, {}).slices(), (std::vector<std::uint64_t>{0, 1, 2}));
  EXPECT_EQ(Preview({4, 5, 6}, {.choice = {EuclideanDistanceTransform2D::planeYZ, 3}}).slices(),
            (std::vector<std::uint64_t>{3}));
}

TEST(Preview, SpacesSlicesAmongThoseAskedFor) {
  EXPECT_EQ(Preview({4, 4, 100}, {.among = SliceRange{50, 60}, .sliceCount = 2}).slices(),
            (std::vector<std::uint64_t>{52, 57}));
  EXPECT_EQ(Preview({4, 4, 100}, {.among = SliceRange{98, 100}}).slices(),
            (std::vector<std::uint64_t>{98, 99}));
}

TEST(BoundedSlices, RunFromTheFirstToTheLastWithBothSides) {
  for (auto const plane : {EuclideanDistanceTransform2D::planeXY, EuclideanDistanceTransform2D::planeXZ,
                           EuclideanDistanceTransform2D::planeYZ}) {
    auto const axis = EuclideanDistanceTransform2D::axesOf(plane).slice;
    auto const inside = [&](std::uint64_t x, std::uint64_t y, std::uint64_t z) {
      std::uint64_t const p[] = {x, y, z};
      return (p[axis] == 2 || p[axis] == 5 || p[axis] == 6) && (p[axis] == 6 || p[(axis + 1) % 3] > 3);
    };
    EXPECT_EQ(boundedSlices(mapOf({8, 8, 8}, inside, plane), plane), (SliceRange{2, 6})) << plane;
  }
  EXPECT_EQ(boundedSlices(DistanceMap({3, 3, 3}), EuclideanDistanceTransform2D::planeXY), std::nullopt);
}

TEST(Preview, SlabsMakeTheSamePictureAsTheWhole) {
  auto const ball = [](std::uint64_t z0) {
    return [z0](std::uint64_t x, std::uint64_t y, std::uint64_t z) {
      return std::hypot(double(x) - 10, double(y) - 8, double(z + z0) - 9) < 7;
    };
  };
  DistanceMap const whole = mapOf({20, 18, 20}, ball(0));
  Preview slabs({20, 18, 20}, {.sliceCount = 6});
  for (std::uint64_t z = 0; z < 20; z += 5) slabs.add(mapOf({20, 18, 5}, ball(z)), nullptr, z);
  EXPECT_EQ(slabs.png(), pngOf(whole, {.sliceCount = 6}));
}

TEST(Preview, SameInputGivesSameBytesAndOtherInputOthers) {
  DistanceMap const map = halves({8, 8, 3});
  EXPECT_EQ(pngOf(map), pngOf(map));
  EXPECT_NE(pngOf(map), pngOf(map, {.unit = "mm"}));
  EXPECT_NE(pngOf(map, {.choice = {EuclideanDistanceTransform2D::planeXY, 1}}),
            pngOf(map, {.choice = {EuclideanDistanceTransform2D::planeXY, 2}}))
      << "the numbers of the slices differ";
}

TEST(Preview, StaysWithinItsSizeWhateverTheShape) {
  std::pair<Extents, Vector3> const cases[] = {{{1, 40, 3}, {1, 1, 1}},       {{40, 1, 3}, {1, 1, 1}},
                                               {{1, 1, 1}, {NAN, -1, 0}},     {{2, 3, 40}, {1e-9, 1, 1}},
                                               {{3000, 2, 1}, {1, 1, 1}},     {{900, 700, 2}, {1, 1e-9, 1}},
                                               {{5, 9, 70}, {1, INFINITY, 1}}};
  for (auto const& [extents, spacing] : cases) {
    DistanceMap const map = mapOf(extents, [](auto, std::uint64_t y, auto) { return y % 5 == 1; });
    DecodedPicture const picture(pngOf(map, {.spacing = spacing, .sliceCount = 60}));
    EXPECT_LE(picture.width, 1600) << extents[0];
    EXPECT_LE(picture.height, 1200) << extents[0];
  }
}

TEST(Preview, RefusesWhatDoesNotFit) {
  EXPECT_THROW(Preview({4, 0, 4}, {}), std::invalid_argument);
  EXPECT_THROW(Preview({4, 4, 4}, {.sliceCount = 0}), std::invalid_argument);
  EXPECT_THROW(Preview({4, 4, 4}, {.sliceCount = 61}), std::invalid_argument);
  for (int const slice : {-1, 4}) {
    EXPECT_THROW(Preview({4, 4, 4}, {.choice = {EuclideanDistanceTransform2D::planeXY, slice}}),
                 std::invalid_argument);
  }
  EXPECT_THROW(Preview({4, 4, 4}, {.among = SliceRange{2, 5}}), std::invalid_argument);
  EXPECT_THROW(Preview({4, 4, 4}, {.among = SliceRange{2, 2}}), std::invalid_argument);
  Preview preview({8, 8, 4}, {});
  EXPECT_THROW(preview.add(halves({8, 9, 4})), std::invalid_argument);
  EXPECT_THROW(preview.add(halves({8, 8, 5})), std::invalid_argument);
  TImageDataset<short, 3> const grey({8, 8, 3});
  EXPECT_THROW(preview.add(halves({8, 8, 4}), &grey), std::invalid_argument);
}

}  // namespace
}  // namespace lorb::tools

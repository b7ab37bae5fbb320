#include "tools/volume/dicom/SliceStack.h"

#include "tools/base/errors.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lorb::tools::dicom {
namespace fs = std::filesystem;
namespace {

/// Cosines and spacings that differ by no more than what their decimal digits may are the same.
constexpr double sameCosine = 1e-4, sameSpacing = 1e-3;

/// How much distances between slices may differ, as a share of the commonest.
constexpr double evenSteps = 0.02;

/// How far slices may lie aside, as a share of the width of a voxel, and of the height of the stack, over
/// which the digits of cosines add up.
constexpr double asideOfVoxel = 0.1, asideOfHeight = 1e-3;

/// Slices closer than this share of the width of a voxel lie at the same place.
constexpr double samePlaceOfVoxel = 0.01;

double dot(Vector3 const& a, Vector3 const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double length(Vector3 const& v) {
  return std::sqrt(dot(v, v));
}

/// a + factor · b
Vector3 sum(Vector3 const& a, double factor, Vector3 const& b) {
  return {a[0] + factor * b[0], a[1] + factor * b[1], a[2] + factor * b[2]};
}

double medianOf(std::vector<double> numbers) {
  auto const middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

std::string textOf(Orientation const& orientation) {
  std::string text;
  for (Vector3 const* v : {&orientation.row, &orientation.column}) {
    for (double const x : *v) text += (text.empty() ? "" : "\\") + toText(x);
  }
  return text;
}

bool areAlike(Vector3 const& a, Vector3 const& b) {
  return std::abs(a[0] - b[0]) < sameCosine && std::abs(a[1] - b[1]) < sameCosine &&
         std::abs(a[2] - b[2]) < sameCosine;
}

bool areAlike(double a, double b) {
  return std::abs(a - b) <= sameSpacing * std::max(std::abs(a), std::abs(b));
}

using Spacing = std::optional<std::array<double, 2>>;

std::string textOf(Spacing const& spacing) {
  return spacing ? toMillimetres((*spacing)[0]) + " × " + toMillimetres((*spacing)[1]) : "none";
}

bool areAlike(Spacing const& a, Spacing const& b) {
  if (a.has_value() != b.has_value()) return false;
  return !a || (areAlike((*a)[0], (*b)[0]) && areAlike((*a)[1], (*b)[1]));
}

/// A frame with its way along the normal.
struct PlacedFrame {
  Frame frame;
  double height = 0.0;
};

class Sorter {
 public:
  Sorter(std::vector<Frame> frames, InputChoice const& choice, fs::path const& path)
      : frames_(std::move(frames)), choice_(choice), path_(path) {
    for (Frame const& frame : frames_) requireLikeFirst(frame);
    setPlaceInPlane();
  }

  SliceStack stack() {
    if (arePlaced()) {
      sortByHeight();
      pickVolume();
      findSpacing();
      findShift();
    } else {
      chosenVolume(1, choice_, path_);
      takeUnplaced();
    }
    stack_.geometry.origin = frames_[0].position.value_or(Vector3{0.0, 0.0, 0.0});
    stack_.slices = std::move(frames_);
    return std::move(stack_);
  }

 private:
  [[noreturn]] void refuse(std::string const& what) const { refuseInput(path_, "its slices " + what); }

  void requireLikeFirst(Frame const& frame) const {
    Frame const& first = frames_[0];
    std::string const names = " in " + first.name() + " and " + frame.name();
    if (frame.extents != first.extents) {
      auto const text = [](Extents const& e) { return std::to_string(e[0]) + " × " + std::to_string(e[1]); };
      refuse("differ in size: " + text(first.extents) + " and " + text(frame.extents) + names);
    }
    if (!areAlike(frame.spacing, first.spacing)) {
      refuse("differ in spacing: " + textOf(first.spacing) + " and " + textOf(frame.spacing) + names);
    }
    if (frame.orientation && first.orientation && !isTurnedLike(*frame.orientation, *first.orientation)) {
      refuse("are oriented differently: " + textOf(*first.orientation) + " and " +
             textOf(*frame.orientation) + names);
    }
  }

  static bool isTurnedLike(Orientation const& a, Orientation const& b) {
    return areAlike(a.row, b.row) && areAlike(a.column, b.column);
  }

  void setPlaceInPlane() {
    Frame const& first = frames_[0];
    Geometry& geometry = stack_.geometry;
    if (first.spacing) {
      geometry.spacing[0] = (*first.spacing)[0];
      geometry.spacing[1] = (*first.spacing)[1];
    } else {
      stack_.spacingKnown[0] = stack_.spacingKnown[1] = false;
    }
    if (!first.orientation) return;
    Vector3 const normal = first.orientation->normal();
    for (std::size_t row = 0; row < 3; ++row) {
      geometry.direction[row] = {first.orientation->row[row], first.orientation->column[row], normal[row]};
    }
  }

  /// Whether all frames have a place. Either all do, or none of a single file.
  bool arePlaced() const {
    auto const isPlaced = [](Frame const& frame) { return frame.position && frame.orientation; };
    auto const count = std::count_if(frames_.begin(), frames_.end(), isPlaced);
    if (count == std::ssize(frames_)) return true;
    bool const isOneFile = frames_.size() == frames_[0].frameCount;
    if (count == 0 && isOneFile) return false;
    Frame const& lost = *std::find_if_not(frames_.begin(), frames_.end(), isPlaced);
    refuse("are not all placed: " + lost.name() + " has no " +
           (lost.position ? "ImageOrientationPatient" : "ImagePositionPatient") +
           ", so that their order is unknown");
  }

  void takeUnplaced() {
    std::string const what = frames_[0].orientation ? "has no position" : "has no orientation in the patient";
    if (frames_.size() > 1) {
      stack_.remarks.push_back(
          "its frames have no positions; they are taken in their order" +
          std::string(frames_[0].thickness ? "" : ", and the map says 1 mm between them"));
    } else {
      stack_.remarks.push_back(what + "; the map is placed as if it lay at the origin, along the axes");
    }
    takeThickness();
  }

  void takeThickness() {
    auto const thickness = frames_[0].thickness;
    stack_.spacingKnown[2] = thickness.has_value();
    if (thickness) stack_.geometry.spacing[2] = std::abs(*thickness);
  }

  double widthOfVoxel() const { return std::max(stack_.geometry.spacing[0], stack_.geometry.spacing[1]); }

  Vector3 normal() const { return frames_[0].orientation->normal(); }

  double heightOf(Frame const& frame) const { return dot(*frame.position, normal()); }

  void sortByHeight() {
    Vector3 const normal = this->normal();
    std::vector<PlacedFrame> placed;
    for (Frame& frame : frames_) {
      double const height = dot(*frame.position, normal);
      placed.push_back({std::move(frame), height});
    }
    std::stable_sort(placed.begin(), placed.end(),
                     [](PlacedFrame const& a, PlacedFrame const& b) { return a.height < b.height; });
    frames_.clear();
    for (PlacedFrame& each : placed) frames_.push_back(std::move(each.frame));
  }

  /// Where the frames at each place begin, and the end of all.
  std::vector<std::size_t> places() const {
    std::vector<std::size_t> begins;
    double height = 0.0;
    for (std::size_t k = 0; k < frames_.size(); ++k) {
      double const here = heightOf(frames_[k]);
      if (k > 0 && here - height < samePlaceOfVoxel * widthOfVoxel()) continue;
      begins.push_back(k);
      height = here;
    }
    begins.push_back(frames_.size());
    return begins;
  }

  /// Leaves the frames of the chosen volume.
  void pickVolume() {
    auto const begins = places();
    std::size_t const count = begins[1];
    for (std::size_t k = 0; k + 1 < begins.size(); ++k) {
      if (begins[k + 1] - begins[k] == count) continue;
      std::size_t const fuller = begins[k + 1] - begins[k] > 1 ? begins[k] : 0;
      refuse("lie at the same place in " + frames_[fuller].name() + " and " + frames_[fuller + 1].name() +
             "; expected one frame a place, or the same number at each");
    }
    auto const volume = static_cast<std::size_t>(chosenVolume(count, choice_, path_));
    std::vector<Frame> chosen;
    for (std::size_t k = 0; k + 1 < begins.size(); ++k) {
      auto const begin = frames_.begin() + static_cast<std::ptrdiff_t>(begins[k]);
      std::stable_sort(begin, begin + static_cast<std::ptrdiff_t>(count),
                       [](Frame const& a, Frame const& b) { return a.order < b.order; });
      chosen.push_back(*(begin + static_cast<std::ptrdiff_t>(volume)));
    }
    frames_ = std::move(chosen);
  }

  double stepAfter(std::size_t k) const { return heightOf(frames_[k + 1]) - heightOf(frames_[k]); }

  void findSpacing() {
    if (frames_.size() == 1) return takeThickness();
    std::vector<double> steps;
    for (std::size_t k = 0; k + 1 < frames_.size(); ++k) steps.push_back(stepAfter(k));
    double const common = medianOf(steps);
    double& spacing = stack_.geometry.spacing[2];
    spacing = common;
    for (std::size_t k = 0; k < steps.size(); ++k) {
      if (std::abs(steps[k] - common) > evenSteps * common) return reportGap(k, common);
    }
    // Of even steps, the whole way tells the most.
    spacing = (heightOf(frames_.back()) - heightOf(frames_[0])) / double(steps.size());
  }

  void reportGap(std::size_t k, double common) {
    addUnevenness("its slices are unevenly spaced: " + toMillimetres(stepAfter(k)) + " between " +
                  frames_[k].name() + " and " + frames_[k + 1].name() + ", mostly " + toMillimetres(common));
  }

  void addUnevenness(std::string const& what) {
    std::string& all = stack_.unevenness ? *stack_.unevenness : stack_.unevenness.emplace();
    all += (all.empty() ? "" : "; ") + what;
  }

  /// How far a slice lies aside of the first.
  Vector3 asideOf(std::size_t k) const {
    Vector3 const way = sum(*frames_[k].position, -1.0, *frames_[0].position);
    return sum(way, -dot(way, normal()), normal());
  }

  /// The way aside that is common to most steps, which a tilted gantry leaves.
  Vector3 commonShift() const {
    Vector3 shift;
    for (std::size_t a = 0; a < 3; ++a) {
      std::vector<double> steps;
      for (std::size_t k = 0; k + 1 < frames_.size(); ++k) steps.push_back(asideOf(k + 1)[a] - asideOf(k)[a]);
      shift[a] = medianOf(steps);
    }
    return shift;
  }

  void findShift() {
    if (frames_.size() < 2) return;
    double const height = heightOf(frames_.back()) - heightOf(frames_[0]);
    double const allowed = asideOfVoxel * widthOfVoxel() + asideOfHeight * height;
    for (std::size_t k = 1; k < frames_.size(); ++k) {
      if (length(asideOf(k)) <= allowed) continue;
      double const tilt = length(commonShift()) * double(frames_.size() - 1);
      if (tilt > allowed) {
        return addUnevenness("its slices are shifted against each other, by " + toMillimetres(tilt) +
                             " from the first to the last, as with a tilted gantry");
      }
      return addUnevenness("its slices do not lie one behind the other: " + frames_[k].name() + " lies " +
                           toMillimetres(length(asideOf(k))) + " aside of " + frames_[0].name());
    }
  }

  std::vector<Frame> frames_;
  InputChoice const& choice_;
  fs::path const& path_;
  SliceStack stack_;
};

}  // namespace

SliceStack stackOf(std::vector<Frame> frames, InputChoice const& choice, fs::path const& path) {
  return Sorter(std::move(frames), choice, path).stack();
}

}  // namespace lorb::tools::dicom

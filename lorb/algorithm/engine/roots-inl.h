// Squares become signed distances.
// To be included once for each instruction set.

#if defined(LORB_ENGINE_ROOTS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LORB_ENGINE_ROOTS_INL_H
#undef LORB_ENGINE_ROOTS_INL_H
#else
#define LORB_ENGINE_ROOTS_INL_H
#endif

#include <lorb/algorithm/engine/Roots.h>
#include <lorb/algorithm/engine/lanes-inl.h>

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace lorb::engine {
namespace HWY_NAMESPACE {

/// Compares the entries up to `square` with the processor's square roots, unless that has been done.
inline void VerifyRoots(Roots& roots, std::int32_t square) {
  if (!roots.agree || square < roots.verifiedUpTo) return;
  // Twice as far as asked for, so that it does not come to this often.
  std::int32_t const end = std::min(2 * square + 1, roots.count);
  std::int32_t k = roots.verifiedUpTo;
  auto differ = hn::FirstN(dF, 0);
  for (; k + lanes32 <= end; k += lanes32) {
    VF const root = hn::Sqrt(hn::ConvertTo(dF, hn::Iota(d32, k)));
    differ = hn::Or(differ, hn::Ne(root, hn::LoadU(dF, roots.table + k)));
  }
  bool agree = hn::AllFalse(dF, differ);
  for (; k < end; ++k) agree &= roots.table[k] == hn::GetLane(hn::Sqrt(hn::Set(dF, static_cast<float>(k))));
  roots.agree = agree;
  roots.verifiedUpTo = end;
}

/// Writes rows of one part of a block.
class PartWriter {
 public:
  PartWriter(MaskWord const* words, int first, ConstantColumns const& constant, Roots const& roots,
             Target const& target)
      : words_(words),
        first_(first),
        begin_(std::max(target.begin - first, 0)),
        end_(std::min(target.end - first, lanes16)),
        // Of a part that begins before the target, only the lanes from there on exist.
        place_(target.first + (first - target.begin + begin_)),
        stride_(target.stride),
        pastCache_(target.pastCache),
        isPlain_(end_ - begin_ == lanes16 && constant.which == 0),
        constant_(constant),
        roots_(roots) {}

  bool isEmpty() const { return begin_ >= end_; }

  /// Row `y` from the squares of its lower and upper lanes.
  HWY_INLINE void Write(int y, V32 lowerSquares, V32 upperSquares) const {
    VF lower, upper;
    if (HWY_LIKELY(roots_.agree)) {
      lower = hn::Sqrt(hn::ConvertTo(dF, lowerSquares));
      upper = hn::Sqrt(hn::ConvertTo(dF, upperSquares));
    } else {
      lower = hn::GatherIndex(dF, roots_.table, lowerSquares);
      upper = hn::GatherIndex(dF, roots_.table, upperSquares);
    }
    lower = Signed(lower, words_[y], first_);
    upper = Signed(upper, words_[y], first_ + lanes32);
    float* const row = place_ + y * stride_;
    if (HWY_UNLIKELY(!isPlain_)) {
      WriteLanes(lower, upper, row);
    } else if (pastCache_) {
      hn::Stream(lower, dF, row);
      hn::Stream(upper, dF, row + lanes32);
    } else {
      hn::StoreU(lower, dF, row);
      hn::StoreU(upper, dF, row + lanes32);
    }
  }

 private:
  static HWY_INLINE VF Signed(VF magnitude, MaskWord negative, int first) {
    return hn::Or(magnitude, hn::IfThenElseZero(LanesOf(dF, negative, first), hn::SignBit(dF)));
  }

  HWY_INLINE VF WithConstants(VF values, int first) const {
    VF const constant = Signed(hn::Set(dF, constant_.value), constant_.negative, first);
    return hn::IfThenElse(LanesOf(dF, constant_.which, first), constant, values);
  }

  /// The lanes that exist, some of which may be constant.
  HWY_NOINLINE void WriteLanes(VF lower, VF upper, float* row) const {
    alignas(64) float values[lanes16];
    hn::Store(WithConstants(lower, first_), dF, values);
    hn::Store(WithConstants(upper, first_ + lanes32), dF, values + lanes32);
    std::copy(values + begin_, values + end_, row);
  }

  MaskWord const* words_;
  int first_;
  int begin_, end_;  // the lanes that exist
  float* place_;     // of the first of them in row 0
  std::ptrdiff_t stride_;
  bool pastCache_;
  bool isPlain_;
  ConstantColumns const& constant_;
  Roots const& roots_;
};

/// `count` times the same value.
void Fill(float* values, std::size_t count, float value, bool pastCache) {
  VF const lanes = hn::Set(dF, value);
  std::size_t k = 0;
  while (k < count && reinterpret_cast<std::uintptr_t>(values + k) % 64 != 0) values[k++] = value;
  for (; k + lanes32 <= count; k += lanes32) {
    if (pastCache) {
      hn::Stream(lanes, dF, values + k);
    } else {
      hn::Store(lanes, dF, values + k);
    }
  }
  while (k < count) values[k++] = value;
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb::engine
HWY_AFTER_NAMESPACE();

#endif

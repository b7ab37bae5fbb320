// A head that needs no file.
#pragma once

#include "tools/volume/Volume.h"

namespace lorb::tools {

/// A head-like volume in the manner of the Shepp–Logan phantom: skull 100, brain 20, ventricles 0 and
/// lesions 30 to 40, in air 0. 256 × 256 × 64 voxels of Int16 at 0.9 × 0.9 × 2.5, centred on the
/// origin.
///
/// After: L. A. Shepp, B. F. Logan, "The Fourier reconstruction of a head section", IEEE Transactions on
/// Nuclear Science 21 (1974), doi:10.1109/TNS.1974.6499235; contrast as raised by P. Toft, "The Radon
/// Transform: Theory and Implementation", 1996.
Volume headPhantom();

}  // namespace lorb::tools

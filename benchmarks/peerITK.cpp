// ITK's exact signed transform. It measures inside distances to the outermost voxels of the object itself,
// so a single run serves both sides, and outside distances are those of the library.

#include "benchmarks/subjects.h"

#include <itkImage.h>
#include <itkImportImageFilter.h>
#include <itkMultiThreaderBase.h>
#include <itkSignedMaurerDistanceMapImageFilter.h>
#include <itkVersion.h>

#include <algorithm>

namespace benchmarks {
namespace {

using Mask = itk::Image<unsigned char, 2>;
using Map = itk::Image<float, 2>;

Map::Pointer distanceMap(Mask::Pointer const& mask) {
  auto const filter = itk::SignedMaurerDistanceMapImageFilter<Mask, Map>::New();
  filter->SetInput(mask);
  filter->SetSquaredDistance(false);
  filter->SetUseImageSpacing(false);
  filter->SetInsideIsPositive(false);
  filter->SetNumberOfWorkUnits(1);
  filter->Update();
  return filter->GetOutput();
}

void itkMaurer(benchmark::State& state, Case const& c) {
  itk::MultiThreaderBase::SetGlobalMaximumNumberOfThreads(1);
  auto const& input = inputOf<unsigned char>(c);
  auto& output = outputFor(c);
  auto const side = static_cast<itk::SizeValueType>(c.side);
  auto const importer = itk::ImportImageFilter<unsigned char, 2>::New();
  importer->SetRegion({{{0, 0}}, {{side, side}}});
  timePerVoxel(state, c, [&] {
    for (std::size_t first = 0; first < c.voxels(); first += side * side) {
      // The importer takes a mutable pointer; the filter only reads.
      importer->SetImportPointer(const_cast<unsigned char*>(input.voxels().data() + first), side * side,
                                 false);
      importer->Update();
      auto const map = distanceMap(importer->GetOutput());
      std::copy_n(map->GetBufferPointer(), side * side, output.voxels().data() + first);
    }
  });
  requireSameMap(state, c, true);
}

}  // namespace

void registerITK() {
  benchmark::AddCustomContext("ITK", ITK_VERSION_STRING);
  for (Case const& c : comparedCases()) {
    // Without an object there is no outermost voxel to measure to.
    if (c.workload != Workload::empty) add(c.name("itk"), c, itkMaurer);
  }
}

}  // namespace benchmarks

#include "tools/commandLine/optionTable.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace lorb::tools {
namespace {

constexpr std::string_view input = "Input", object = "Object", map = "Map", run = "Run", self = aboutGroup;

constexpr OptionRow rows[] = {
    {input, "--volume", "K", "volume K of a file that holds several, counted from 0",
     "Volumes are counted along all dimensions beyond the third.", "", false},
    {input, "--all-volumes", "", "all of them, into a 4-D map: .nii or .nii.gz",
     "Maps are made of each volume by itself; in reports their slices are counted on from volume to volume.",
     "", false},
    {input, "--series", "UID", "DICOM series to take (default: the largest)", "", "", false},
    {input, "--uneven", "", "take DICOM slices with gaps or a tilt all the same",
     "The map is placed by the commonest spacing; distances, which lie within slices, are right.", "", false},
    {input, "--skip-damaged", "", "leave out DICOM files that may be damaged slices",
     "The gap that a slice leaves takes --uneven as well, unless it was the first or the last.", "", false},
    {input, "--phantom", "", "a built-in head phantom in place of INPUT", "", "", false},

    {object, "--above", "T", "values above T are inside (default: above 0)", "", "", false},
    {object, "--below", "T", "values below T are inside", "", "", false},
    {object, "--between", "A B", "values from A to B are inside, both included", "", "", false},
    {object, "--label", "N", "values equal to N are inside; repeat it for the union", "", "", true},
    {object, "--segment", "NAME", "segment of a .seg.nrrd is inside; repeat it for the union",
     "Segments may overlap, in layers of their own. Without it, --volume picks the layer of a file of "
     "several, and "
     "its values are labels.",
     "", true},
    {object, "--each-label", "", "a map for each value but 0, named after it: map-77.nii.gz",
     "The input must hold whole numbers, of no more than 1000 values.", "", false},
    {object, "--invert", "", "what would be inside is outside, and the reverse",
     "Voxels that are NaN are outside either way.", "", false},

    {map, "-o,--output", "FILE", "map to write, of the extension's format; - writes NRRD", "", "<file>",
     false},
    {map, "--output-dir", "DIR", "folder for the maps of all inputs, named after them",
     "It is made where there is none. An input that fails stops no other; the exit code is then that of the "
     "first that failed.",
     "<file>", false},
    {map, "--name", "PATTERN", "their names, such as {stem}_desc-{label}_sdt{ext}",
     "{stem} is the name of the input without its extension, {ext} the extension of the map: that of the "
     "input, or .nii.gz where maps can't have it; another one may be written out. {label} is the label of "
     "--each-label or --label, {folder} the name of the input's folder. In names of the Brain Imaging Data "
     "Structure {entities} is all but the suffix, {suffix} that, and {sub}, {ses} and the like are single "
     "entities. The default is {entities}_sdt{ext}, or for other names {stem}_sdt{ext}; with --each-label it "
     "has "
     "label-{label} where that standard wants it. --preview is such a pattern as well.",
     "", false},
    {map, "--sidecar", "", "a JSON file beside each map that says what it is",
     "Its keys are those of the Brain Imaging Data Structure where that has them.", "", false},
    {map, "--plane", "P", "plane of the slices: xy (default), xz or yz", "", "xy xz yz", false},
    {map, "--slice", "K", "compute slice K alone, counted from 0; all others hold 0", "", "", false},
    {map, "--units", "U", "voxels (default), or mm if the in-plane spacings agree",
     "Millimetres are distances in voxels times the spacing.", "voxels mm", false},
    {map, "--no-boundary", "V", "slices without one hold: diagonal (default), constant, nan",
     "diagonal, the default, is the length of the slice's diagonal in the units of the map, which no "
     "distance "
     "exceeds; constant is its square in voxels, whatever the units. Both are positive outside and negative "
     "inside.",
     "diagonal constant nan", false},
    {map, "--compression", "N", "0 stores, 1 is fast, 9 makes small files (default: 4)",
     "Of formats that are compressed: all but .nii and .vtk.", "0 1 2 3 4 5 6 7 8 9", false},
    {map, "--preview", "FILE", "picture of the map to write, a .png",
     "A montage of slices, with the boundary as a black line. Slices are spaced among those that have a "
     "boundary, "
     "or slab by slab among all.",
     "<file>", false},
    {map, "--preview-over", "G", "grey image beneath: input, or a file on the same grid",
     "A file must have as many voxels as the input, in the same place.", "input <file>", false},
    {map, "--json", "FILE", "report for programs; - is standard output", "", "<file>", false},

    {run, "--threads", "N", "threads to compute on (default: one per processor)",
     "The map is the same for every number.", "", false},
    {run, "--jobs", "N", "inputs to work on at a time, which share threads and memory",
     "Each is worked on in a process of its own. The default is 1.", "", false},
    {run, "--memory", "SIZE", "memory to stay within: 512M, 4G (default: what is free)",
     "Where the whole does not fit, input of MetaImage, NIfTI or legacy VTK that is not compressed is read "
     "and "
     "MetaImage is written slab by slab.",
     "", false},
    {run, "--force", "", "replace what exists", "", "", false},
    {run, "-q,--quiet", "", "print warnings and errors alone", "", "", false},
    {run, "-v,--verbose", "", "print timings and memory as well", "", "", false},
    {self, "--self-test", "", "compare the library with brute force on this machine",
     "Every instruction set that the processor has is tested.", "", false},
    {self, "-h,--help", "", "print this help", "", "", false},
    {self, "--version", "", "print version and build", "", "", false},
    {self, "--man", "", "print the manual page in roff", "", "", false},
    {self, "--completion", "", "print the completion for bash", "", "", false},
};

}  // namespace

std::span<OptionRow const> optionTable() {
  return rows;
}

std::string longNameOf(OptionRow const& row) {
  return std::string(row.names.substr(row.names.rfind(',') + 1));
}

std::vector<std::string> choicesOf(OptionRow const& row) {
  if (row.words.find(fileWord) != std::string_view::npos) return {};
  std::istringstream words{std::string(row.words)};
  return {std::istream_iterator<std::string>(words), {}};
}

int argumentCount(OptionRow const& row) {
  if (row.argument.empty()) return 0;
  return 1 + static_cast<int>(std::count(row.argument.begin(), row.argument.end(), ' '));
}

}  // namespace lorb::tools

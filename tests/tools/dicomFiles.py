"""DICOM files for the tests of lorb-distance, written by pydicom, and the tool as a user runs it."""

import os
import subprocess
from types import SimpleNamespace

import nibabel
import numpy
import pydicom
from pydicom.dataset import Dataset, FileDataset, FileMetaDataset
from pydicom.sequence import Sequence
from pydicom.uid import ExplicitVRBigEndian, ExplicitVRLittleEndian, ImplicitVRLittleEndian, generate_uid

from niftiPlace import brute_force, oblique_affine

SHAPE = (9, 7, 5)  # columns, rows, slices
TO_LPS = numpy.diag([-1.0, -1.0, 1.0, 1.0])


def new_file(path, columns, rows, series, kind=pydicom.uid.CTImageStorage, syntax=ExplicitVRLittleEndian):
    meta = FileMetaDataset()
    meta.TransferSyntaxUID = syntax
    meta.MediaStorageSOPClassUID, meta.MediaStorageSOPInstanceUID = kind, generate_uid()
    data = FileDataset(path, {}, file_meta=meta, preamble=b"\0" * 128)
    data.is_little_endian = syntax != ExplicitVRBigEndian
    data.is_implicit_VR = syntax == ImplicitVRLittleEndian
    data.SOPClassUID, data.SOPInstanceUID = kind, meta.MediaStorageSOPInstanceUID
    data.Modality, data.SeriesInstanceUID, data.StudyInstanceUID = "CT", series, "1.2.3"
    data.SeriesDescription = "phantom"
    data.Columns, data.Rows = columns, rows
    data.BitsAllocated = data.BitsStored = 16
    data.HighBit, data.PixelRepresentation = 15, 1
    data.SamplesPerPixel, data.PhotometricInterpretation = 1, "MONOCHROME2"
    return data


def complete(data, attributes):
    """Sets attributes by their names; those that are None are left out."""
    for name, value in attributes.items():
        if value is None:
            delattr(data, name)
        else:
            setattr(data, name, value)


def packed(data, values):
    """Stored values, of the first index running fastest."""
    order = "<" if data.is_little_endian else ">"
    stored = values.T.astype(f"{order}{'i' if data.PixelRepresentation else 'u'}{data.BitsAllocated // 8}")
    return stored.tobytes() + b"\0" * (stored.nbytes % 2)


def numbers(values):
    return [f"{x:.10g}" for x in values]


def cosines(values):
    return [f"{x:.10f}" for x in values]


def write_slice(path, values, place, series, slope=1.0, intercept=0.0, syntax=ExplicitVRLittleEndian, **attributes):
    data = new_file(path, *values.shape, series, syntax=syntax)
    data.ImagePositionPatient = numbers(place.position)
    data.ImageOrientationPatient = cosines(place.orientation)
    data.PixelSpacing = list(place.spacing)
    data.SliceThickness = 1.0
    data.RescaleSlope, data.RescaleIntercept = slope, intercept
    complete(data, attributes)
    data.PixelData = packed(data, values)
    data.save_as(path, write_like_original=False)


def item(**attributes):
    data = Dataset()
    complete(data, attributes)
    return data


def functional_groups(frame):
    """The macros of one frame of an enhanced image."""
    groups = Dataset()
    groups.PlanePositionSequence = Sequence([item(ImagePositionPatient=numbers(frame.position))])
    groups.PlaneOrientationSequence = Sequence([item(ImageOrientationPatient=cosines(frame.orientation))])
    groups.PixelMeasuresSequence = Sequence([item(PixelSpacing=list(frame.spacing), SliceThickness=1.0)])
    groups.PixelValueTransformationSequence = Sequence([item(
        RescaleSlope=frame.slope, RescaleIntercept=frame.intercept, RescaleType="US")])
    groups.FrameContentSequence = Sequence([item(DimensionIndexValues=frame.indices)])
    return groups


# The second dimension of frames counts their time, the first their place.
DIMENSIONS = [0x00200032, 0x00209128]


def write_frames(path, frames, series, kind=pydicom.uid.EnhancedCTImageStorage, **attributes):
    """An enhanced image of frames with values, position, orientation, spacing, slope, intercept and indices."""
    data = new_file(path, *frames[0].values.shape, series, kind)
    data.NumberOfFrames = len(frames)
    data.DimensionIndexSequence = Sequence([item(DimensionIndexPointer=tag) for tag in DIMENSIONS])
    shared = functional_groups(frames[0])
    for macro in ("PlanePositionSequence", "FrameContentSequence", "PixelValueTransformationSequence",
                  "PlaneOrientationSequence"):
        delattr(shared, macro)
    own = [functional_groups(frame) for frame in frames]
    if all(tuple(frame.spacing) == tuple(frames[0].spacing) for frame in frames):
        for groups in own:
            del groups.PixelMeasuresSequence
    else:
        del shared.PixelMeasuresSequence
    data.SharedFunctionalGroupsSequence = Sequence([shared])
    data.PerFrameFunctionalGroupsSequence = Sequence(own)
    complete(data, attributes)
    data.PixelData = b"".join(packed(data, frame.values)[:frame.values.size * 2] for frame in frames)
    data.PixelData += b"\0" * (len(data.PixelData) % 2)
    data.save_as(path, write_like_original=False)


def patch(path, old, new):
    """Replaces text in a file that pydicom would not write."""
    with open(path, "rb") as file:
        content = file.read()
    assert content.count(old) == 1 and len(new) <= len(old), (content.count(old), old, new)
    with open(path, "wb") as file:
        file.write(content.replace(old, new.ljust(len(old))))


def place_of(affine, k):
    """Where slice k lies, for an affine in LPS."""
    columns = affine[:3, :3]
    spacing = numpy.linalg.norm(columns, axis=0)
    unit = columns / spacing
    return SimpleNamespace(position=affine[:3, 3] + k * columns[:, 2],
                           orientation=numpy.concatenate([unit[:, 0], unit[:, 1]]),
                           spacing=(spacing[1], spacing[0]))


def right_handed_affine():
    """In LPS; slices are stacked along the right-hand normal."""
    affine = TO_LPS @ oblique_affine()
    if numpy.linalg.det(affine[:3, :3]) < 0:
        affine[:3, 2] *= -1
    return affine


class Series:
    def __init__(self, folder, uid, count=SHAPE[2]):
        assert count % 3 != 0, "names would repeat"
        self.folder, self.uid = folder, uid
        os.makedirs(folder, exist_ok=True)
        self.values = numpy.random.default_rng(3).integers(-3, 4, SHAPE[:2] + (count,))
        self.affine = right_handed_affine()
        self.names = [f"{(3 * k + 1) % count:02}.dcm" for k in range(count)]  # in an order of no meaning

    def path(self, k):
        return os.path.join(self.folder, self.names[k])

    def write(self, k, **changes):
        place = place_of(self.affine, k)
        for name in list(changes):
            if hasattr(place, name):
                setattr(place, name, changes.pop(name))
        write_slice(self.path(k), self.values[:, :, k], place, self.uid, **changes)

    def write_all(self, **changes):
        for k in range(self.values.shape[2]):
            self.write(k, **changes)
        return self


class Tool:
    def __init__(self, path, folder):
        self.path, self.result = path, os.path.join(folder, "map.nii")

    def run(self, *arguments):
        return subprocess.run([self.path, *arguments, "-o", self.result, "--force"], capture_output=True, text=True)

    def map(self, *arguments):
        done = self.run(*arguments)
        assert done.returncode == 0, done.stderr
        return nibabel.load(self.result)

    def warning(self, *arguments):
        done = self.run(*arguments)
        assert done.returncode == 0, done.stderr
        return done.stderr

    def refusal(self, *arguments):
        done = self.run(*arguments)
        assert done.returncode == 3, (done.returncode, done.stdout, done.stderr)
        lines = [line for line in done.stderr.splitlines() if "warning: " not in line]
        assert len(lines) == 1, done.stderr
        return lines[0]


def check_map(image, series, inside):
    numpy.testing.assert_allclose(image.affine, TO_LPS @ series.affine, atol=2e-5)
    numpy.testing.assert_allclose(image.get_fdata(), brute_force(inside), rtol=1e-6)


def check_values(tool, path, expected, *arguments):
    """The tool finds exactly these values."""
    for value in numpy.unique(expected):
        inside = tool.map(path, "--label", repr(float(value)), *arguments).get_fdata() < 0
        numpy.testing.assert_array_equal(inside, expected == value, err_msg=f"label {value}")

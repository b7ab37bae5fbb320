"""Checks what lorb-distance makes of DICOM series: usage dicomSeries.py LORB-DISTANCE."""

import itertools
import os
import subprocess
import sys
import tempfile
from types import SimpleNamespace

import nibabel
import numpy
import pydicom
from pydicom.dataset import FileDataset, FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian, generate_uid

from niftiPlace import brute_force, oblique_affine

SHAPE = (9, 7, 5)  # columns, rows, slices
TO_LPS = numpy.diag([-1.0, -1.0, 1.0, 1.0])


def write_slice(path, values, place, series, slope=1.0, intercept=0.0):
    meta = FileMetaDataset()
    meta.TransferSyntaxUID = ExplicitVRLittleEndian
    meta.MediaStorageSOPClassUID = pydicom.uid.CTImageStorage
    meta.MediaStorageSOPInstanceUID = generate_uid()
    data = FileDataset(path, {}, file_meta=meta, preamble=b"\0" * 128)
    data.is_little_endian, data.is_implicit_VR = True, False
    data.SOPClassUID, data.SOPInstanceUID = meta.MediaStorageSOPClassUID, meta.MediaStorageSOPInstanceUID
    data.Modality, data.SeriesInstanceUID, data.StudyInstanceUID = "CT", series, "1.2.3"
    data.SeriesDescription = "phantom"
    data.ImagePositionPatient = [f"{x:.10g}" for x in place.position]
    data.ImageOrientationPatient = [f"{x:.10f}" for x in place.orientation]
    data.PixelSpacing = list(place.spacing)
    data.SliceThickness = 1.0
    data.Columns, data.Rows = values.shape
    data.BitsAllocated = data.BitsStored = 16
    data.HighBit, data.PixelRepresentation = 15, 1
    data.SamplesPerPixel, data.PhotometricInterpretation = 1, "MONOCHROME2"
    data.RescaleSlope, data.RescaleIntercept = slope, intercept
    data.PixelData = values.T.astype("<i2").tobytes()
    data.save_as(path, write_like_original=False)


def place_of(affine, k):
    """Where slice k lies, for an affine in LPS."""
    columns = affine[:3, :3]
    spacing = numpy.linalg.norm(columns, axis=0)
    unit = columns / spacing
    return SimpleNamespace(position=affine[:3, 3] + k * columns[:, 2],
                           orientation=numpy.concatenate([unit[:, 0], unit[:, 1]]),
                           spacing=(spacing[1], spacing[0]))


class Series:
    def __init__(self, folder, uid, count=SHAPE[2]):
        self.folder, self.uid = folder, uid
        os.makedirs(folder, exist_ok=True)
        self.values = numpy.random.default_rng(3).integers(-3, 4, SHAPE[:2] + (count,))
        self.affine = TO_LPS @ oblique_affine()
        if numpy.linalg.det(self.affine[:3, :3]) < 0:  # slices are stacked along the right-hand normal
            self.affine[:3, 2] *= -1
        self.names = [f"{(3 * k + 1) % count:02}.dcm" for k in range(count)]  # in an order of no meaning

    def write(self, k, **changes):
        place = place_of(self.affine, k)
        for name in list(changes):
            if hasattr(place, name):
                setattr(place, name, changes.pop(name))
        write_slice(os.path.join(self.folder, self.names[k]), self.values[:, :, k], place, self.uid, **changes)

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

    def refusal(self, *arguments):
        done = self.run(*arguments)
        assert done.returncode == 3, (done.returncode, done.stdout, done.stderr)
        assert done.stderr.count("\n") == 1, done.stderr
        return done.stderr


def check_map(image, series, inside):
    numpy.testing.assert_allclose(image.affine, TO_LPS @ series.affine, atol=2e-5)
    numpy.testing.assert_allclose(image.get_fdata(), brute_force(inside), rtol=1e-6)


def check_damaged_slices(tool, folder):
    """A damaged slice at the end makes no shorter volume, however little is left of it."""
    series = Series(os.path.join(folder, "damaged"), "1.2.3.13", 7).write_all()
    last = os.path.join(series.folder, series.names[6])
    unnamed = os.path.join(series.folder, "IM6")
    with open(last, "rb") as file:
        whole = file.read()
    for name in ("notes.txt", ".hidden"):
        with open(os.path.join(series.folder, name), "w") as file:
            file.write("nothing of interest")
    noise = numpy.random.default_rng(1).bytes(len(whole))
    pieces = [whole[:size] for size in (0, 100, 140, 300, 500, 800, len(whole) - 50)] + [noise]
    for path, content in itertools.product((last, unnamed), pieces):
        with open(path, "wb") as file:
            file.write(content)
        refusal = tool.refusal(series.folder)
        assert os.path.basename(path) in refusal, (len(content), refusal)
        os.remove(path)
    os.symlink("nowhere", last)
    assert "can't be opened: No such file" in tool.refusal(series.folder)
    taken = tool.run(series.folder, "--uneven")
    assert taken.returncode == 0 and "warning: " in taken.stderr and series.names[6] in taken.stderr, taken
    os.remove(last)

    # DICOM files that are no images belong to others.
    report = pydicom.dcmread(os.path.join(series.folder, series.names[0]))
    report.file_meta.MediaStorageSOPClassUID = report.SOPClassUID = pydicom.uid.BasicTextSRStorage
    for element in ("Rows", "Columns", "PixelData"):
        delattr(report, element)
    report.save_as(last)
    assert tool.run(series.folder).returncode == 0


def main(path):
    with tempfile.TemporaryDirectory() as folder:
        tool = Tool(path, folder)
        whole = Series(os.path.join(folder, "whole"), "1.2.3.4").write_all()
        check_map(tool.map(whole.folder), whole, whole.values > 0)
        check_map(tool.map(os.path.join(whole.folder, "02.dcm")), whole, whole.values > 0)
        os.rename(os.path.join(whole.folder, "02.dcm"), os.path.join(whole.folder, "IM2"))
        check_map(tool.map(os.path.join(whole.folder, "IM2")), whole, whole.values > 0)
        with open(os.path.join(whole.folder, "notes.txt"), "w") as notes:
            notes.write("nothing of interest")

        # A slice of the series is never replaced, nor is any map made then.
        replaced = subprocess.run([path, whole.folder, "-o", os.path.join(folder, "new.mha"), "--json",
                                   os.path.join(whole.folder, "IM2"), "--force"], capture_output=True, text=True)
        assert replaced.returncode == 4 and "IM2: is the input or a part of it" in replaced.stderr, replaced
        assert not os.path.exists(os.path.join(folder, "new.mha"))

        # Of two series the largest is taken, and the other on demand.
        other = Series(whole.folder, "1.2.3.5", 4)
        other.names = [f"other{k}" for k in range(4)]
        other.write_all()
        warned = tool.run(whole.folder)
        assert warned.returncode == 0 and "2 series; took the largest, 1.2.3.4" in warned.stderr, warned.stderr
        check_map(tool.map(whole.folder, "--series", "1.2.3.5"), other, other.values > 0)
        assert "no series '9'; expected --series with one of 1.2.3.4 (5 files" in tool.refusal(
            whole.folder, "--series", "9")

        # Values are scaled, by slices of one scale or each in its own way.
        scaled = Series(os.path.join(folder, "scaled"), "1.2.3.6").write_all(slope=0.5, intercept=1.0)
        check_map(tool.map(scaled.folder, "--above", "1.5"), scaled, scaled.values * 0.5 + 1.0 > 1.5)
        scaled.write(2, slope=3.0)
        factors = numpy.array([0.5, 0.5, 3.0, 0.5, 0.5]), numpy.array([1.0, 1.0, 0.0, 1.0, 1.0])
        check_map(tool.map(scaled.folder, "--above", "1.5"), scaled,
                  scaled.values * factors[0] + factors[1] > 1.5)

        # A gap, a tilted gantry, a slice twice, slices that are turned or of another size.
        gap = Series(os.path.join(folder, "gap"), "1.2.3.7").write_all()
        os.remove(os.path.join(gap.folder, gap.names[1]))
        assert "unevenly spaced: 5 mm between" in tool.refusal(gap.folder)
        assert "expected --uneven" in tool.refusal(gap.folder)
        taken = tool.run(gap.folder, "--uneven")
        assert taken.returncode == 0 and "unevenly spaced" in taken.stderr

        tilted = Series(os.path.join(folder, "tilted"), "1.2.3.8")
        tilted.affine[:3, 2] += 0.3 * tilted.affine[:3, 0]
        assert "shifted against each other" in tool.refusal(tilted.write_all().folder)

        twice = Series(os.path.join(folder, "twice"), "1.2.3.9").write_all()
        twice.write(1, position=place_of(twice.affine, 2).position)
        assert "lie at the same place in" in tool.refusal(twice.folder)

        turned = Series(os.path.join(folder, "turned"), "1.2.3.10").write_all()
        turned.write(1, orientation=[1, 0, 0, 0, 1, 0])
        assert "are oriented differently" in tool.refusal(turned.folder)

        larger = Series(os.path.join(folder, "larger"), "1.2.3.11").write_all()
        larger.values = numpy.zeros((11, 7, 5))
        larger.write(1)
        assert "differ in size: 9 × 7 and 11 × 7" in tool.refusal(larger.folder), tool.refusal(larger.folder)

        cut = Series(os.path.join(folder, "cut"), "1.2.3.12").write_all()
        with open(os.path.join(cut.folder, cut.names[3]), "r+b") as file:
            file.truncate(os.path.getsize(file.name) - 50)
        assert "incomplete: its pixel data are cut" in tool.refusal(cut.folder), tool.refusal(cut.folder)

        check_damaged_slices(tool, folder)

        os.mkdir(os.path.join(folder, "empty"))
        assert "without DICOM images" in tool.refusal(os.path.join(folder, "empty"))


if __name__ == "__main__":
    main(*sys.argv[1:])

"""Checks how lorb-distance puts the slices of DICOM series together: usage dicomSeries.py LORB-DISTANCE."""

import itertools
import os
import subprocess
import sys
import tempfile

import numpy
import pydicom

from dicomFiles import SHAPE, Series, Tool, check_map, new_file, patch, place_of


def write_directory(path):
    """As on a disc, beside the slices."""
    directory = new_file(path, 1, 1, "1.2.3", pydicom.uid.MediaStorageDirectoryStorage)
    for element in list(directory.keys()):
        del directory[element]
    directory.FileSetID, directory.DirectoryRecordSequence = "DISC", []
    directory.save_as(path, write_like_original=False)


def check_places(tool, folder):
    """What keeps slices from filling a box."""
    gap = Series(os.path.join(folder, "gap"), "1.2.3.7").write_all()
    os.remove(gap.path(1))
    refusal = tool.refusal(gap.folder)
    assert "unevenly spaced: 5 mm between" in refusal and "expected --uneven" in refusal, refusal
    assert "unevenly spaced" in tool.warning(gap.folder, "--uneven")

    tilted = Series(os.path.join(folder, "tilted"), "1.2.3.8")
    tilted.affine[:3, 2] += 0.3 * tilted.affine[:3, 0]
    assert "shifted against each other" in tool.refusal(tilted.write_all().folder)
    assert "tilted gantry" in tool.warning(tilted.folder, "--uneven")

    # A slice aside, by half a voxel and by less than anybody could see.
    aside = Series(os.path.join(folder, "aside"), "1.2.3.14").write_all()
    place, row = place_of(aside.affine, 2), aside.affine[:3, 0]
    aside.write(2, position=place.position + 0.5 * row)
    refusal = tool.refusal(aside.folder)
    assert f"{aside.names[2]} lies 0.375 mm aside of {aside.names[0]}" in refusal, refusal
    assert "aside of" in tool.warning(aside.folder, "--uneven")
    aside.write(2, position=place.position + 0.01 * row)
    check_map(tool.map(aside.folder), aside, aside.values > 0)

    spaced = Series(os.path.join(folder, "spaced"), "1.2.3.15").write_all()
    spaced.write(2, spacing=(1.25, 0.8))
    assert "differ in spacing: 0.75 mm × 1.25 mm and 0.8 mm × 1.25 mm in" in tool.refusal(spaced.folder)

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

    lost = Series(os.path.join(folder, "lost"), "1.2.3.16").write_all()
    lost.write(2, ImagePositionPatient=None)
    assert f"{lost.names[2]} has no ImagePositionPatient" in tool.refusal(lost.folder)


def check_bad_places(tool, folder):
    """Numbers that are none, and cosines that are none of two unit vectors at a right angle."""
    series = Series(os.path.join(folder, "bad"), "1.2.3.17", 1)
    for old, new in ((b"0.8775825619", b"0.9775825619"), (b"0.8775825619", b"nan"), (b"0.8775825619", b"")):
        series.write(0)
        patch(series.path(0), old, new)
        refusal = tool.refusal(series.folder)
        assert "has ImageOrientationPatient '" in refusal and "expected the six cosines" in refusal, refusal
    for new in (b"nan", b"1,5", b"inf", b"1\\\\2"):
        series.write(0, position=(-81.25, 126.5, -72.75))
        patch(series.path(0), b"-81.25", new)
        refusal = tool.refusal(series.folder)
        assert "has ImagePositionPatient '" in refusal and "expected three finite numbers" in refusal, refusal


def check_volumes(tool, folder):
    """Slices of several times at the same places are volumes in the order of their numbers."""
    times = [Series(os.path.join(folder, "times"), "1.2.3.18") for _ in range(3)]
    for t, series in enumerate(times):
        series.values = numpy.roll(series.values, t, axis=0)
        series.names = [f"{t}-{name}" for name in reversed(series.names)]
        for k in range(SHAPE[2]):
            series.write(k, InstanceNumber=1 + 10 * t + k)
    assert "holds 3 volumes; expected --volume K" in tool.refusal(times[0].folder)
    for t, series in enumerate(times):
        check_map(tool.map(series.folder, "--volume", str(t)), series, series.values > 0)
    assert "has no volume 3" in tool.refusal(times[0].folder, "--volume", "3")


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
    warning = tool.warning(series.folder, "--skip-damaged")
    assert "warning: " in warning and series.names[6] in warning, warning
    os.remove(last)

    # DICOM files that are no images belong to others.
    report = pydicom.dcmread(os.path.join(series.folder, series.names[0]))
    report.file_meta.MediaStorageSOPClassUID = report.SOPClassUID = pydicom.uid.BasicTextSRStorage
    for element in ("Rows", "Columns", "PixelData"):
        delattr(report, element)
    report.save_as(last)
    assert tool.run(series.folder).returncode == 0
    write_directory(os.path.join(series.folder, "DICOMDIR"))
    write_directory(os.path.join(series.folder, "LISTING"))
    assert tool.run(series.folder).returncode == 0
    assert "holds no DICOM image" in tool.refusal(os.path.join(series.folder, "LISTING"))

    # An image without pixels is none.
    bare = pydicom.dcmread(series.path(0))
    del bare.PixelData
    bare.save_as(last)
    assert f"{series.names[6]} holds no pixel data" in tool.refusal(series.folder)
    os.remove(last)

    # Leaving out a slice does not accept the gap that it leaves.
    with open(series.path(3), "r+b") as file:
        file.truncate(500)
    assert "--skip-damaged" in tool.refusal(series.folder, "--uneven")
    assert "unevenly spaced" in tool.refusal(series.folder, "--skip-damaged")
    warning = tool.warning(series.folder, "--skip-damaged", "--uneven")
    assert warning.count("warning: ") == 2 and series.names[3] in warning, warning


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

        cut = Series(os.path.join(folder, "cut"), "1.2.3.12").write_all()
        with open(os.path.join(cut.folder, cut.names[3]), "r+b") as file:
            file.truncate(os.path.getsize(file.name) - 50)
        assert "incomplete: its pixel data are cut" in tool.refusal(cut.folder), tool.refusal(cut.folder)

        check_places(tool, folder)
        check_bad_places(tool, folder)
        check_volumes(tool, folder)
        check_damaged_slices(tool, folder)

        os.mkdir(os.path.join(folder, "empty"))
        assert "without DICOM images" in tool.refusal(os.path.join(folder, "empty"))


if __name__ == "__main__":
    main(*sys.argv[1:])

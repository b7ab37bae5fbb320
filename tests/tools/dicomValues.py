"""Checks values, spacings and codings of DICOM files in lorb-distance: usage dicomValues.py LORB-DISTANCE."""

import os
import shutil
import subprocess
import sys
import tempfile

import numpy
import pydicom
from pydicom.encaps import encapsulate, generate_pixel_data_frame
from pydicom.uid import DeflatedExplicitVRLittleEndian, ExplicitVRBigEndian, ImplicitVRLittleEndian

from dicomFiles import SHAPE, Series, Tool, check_map, check_values, packed, patch


def check_types(tool, folder):
    """All orders of bytes and sizes of elements, and unused bits that are set."""
    plain = Series(os.path.join(folder, "plain"), "1.2.3.60", 2)
    for syntax in (ImplicitVRLittleEndian, ExplicitVRBigEndian, DeflatedExplicitVRLittleEndian):
        check_values(tool, plain.write_all(syntax=syntax).folder, plain.values)
    plain.values = plain.values + 3
    plain.write_all(BitsAllocated=8, BitsStored=8, HighBit=7, PixelRepresentation=0)
    check_values(tool, plain.folder, plain.values)
    plain.write_all(BitsAllocated=32, BitsStored=32, HighBit=31)
    check_values(tool, plain.folder, plain.values)
    plain.write_all(BitsAllocated=32, BitsStored=32, HighBit=31, syntax=ExplicitVRBigEndian)
    check_values(tool, plain.folder, plain.values)
    plain.write_all(BitsAllocated=8, BitsStored=8, HighBit=7, PixelRepresentation=0, syntax=ExplicitVRBigEndian)
    check_values(tool, plain.folder, plain.values)
    values, unused = plain.values - 3, 0x5000
    plain.values = (values & 0xfff) + unused
    plain.write_all(BitsStored=12, HighBit=11)
    check_values(tool, plain.folder, values)
    plain.values = values + 3 + unused
    plain.write_all(BitsStored=12, HighBit=11, PixelRepresentation=0)
    check_values(tool, plain.folder, values + 3)
    plain.write_all(BitsStored=12, HighBit=15)
    assert "has HighBit 15; expected 11" in tool.refusal(plain.folder)


def check_scaling(tool, folder):
    """Values are scaled, by slices of one scale or each in its own way."""
    scaled = Series(os.path.join(folder, "scaled"), "1.2.3.6").write_all(slope=0.5, intercept=1.0)
    check_map(tool.map(scaled.folder, "--above", "1.5"), scaled, scaled.values * 0.5 + 1.0 > 1.5)
    scaled.write(2, slope=3.0)
    factors = numpy.array([0.5, 0.5, 3.0, 0.5, 0.5]), numpy.array([1.0, 1.0, 0.0, 1.0, 1.0])
    check_map(tool.map(scaled.folder, "--above", "1.5"), scaled, scaled.values * factors[0] + factors[1] > 1.5)
    scaled.write_all(slope=1000000, intercept=-7)
    check_values(tool, scaled.folder, scaled.values * 1e6 - 7)
    scaled.write_all(slope="0.1234567890123")
    check_values(tool, scaled.folder, scaled.values * 0.1234567890123)
    patch(scaled.path(2), b"0.1234567890123", b"nan")
    assert "has RescaleSlope 'nan'; expected a finite number" in tool.refusal(scaled.folder)


def check_inverted_display(tool, folder):
    """MONOCHROME1 is a matter of display."""
    negative = Series(os.path.join(folder, "negative"), "1.2.3.61", 2)
    negative.write_all(PhotometricInterpretation="MONOCHROME1")
    check_values(tool, negative.folder, negative.values)
    warning = tool.warning(negative.folder)
    assert "is MONOCHROME1" in warning and "as they are stored, not inverted" in warning, warning
    table = pydicom.Dataset()
    table.LUTDescriptor, table.LUTData = [1, 0, 16], [5]
    negative.write_all(ModalityLUTSequence=[table])
    assert "Modality LUT, which is not applied" in tool.warning(negative.folder)
    for kind in ("PALETTE COLOR", "RGB"):
        negative.write_all(PhotometricInterpretation=kind)
        assert f"holds pixels of kind {kind}" in tool.refusal(negative.folder)


def check_spacing(tool, folder):
    """A spacing that is missing is not made up in silence, nor in millimetres at all."""
    series = Series(os.path.join(folder, "spacing"), "1.2.3.62", 2)

    def check(what):
        warning = tool.warning(series.folder)
        assert what in warning and "the map says 1 mm" in warning and warning.count("\n") == 1, warning
        refusal = tool.refusal(series.folder, "--units", "mm")
        assert "does not say the spacing of its voxels in plane xy" in refusal, refusal
        assert "expected --units voxels" in refusal, refusal

    series.write_all(PixelSpacing=None)
    check("has no PixelSpacing;")
    series.write_all(PixelSpacing="")
    check("has no PixelSpacing;")
    series.write_all(spacing=("0", "0"))
    check(r"has PixelSpacing '0\0', which is no two numbers above 0;")
    series.write_all(spacing=("-1.5", "1.5"))
    check(r"has PixelSpacing '-1.5\1.5', which")
    for text in (b"nan\\nan", b"inf\\inf", b"narrow", b"0,5\\0,5", b"1.5"):
        series.write_all(spacing=("1.6250", "1.6250"))
        for k in range(2):
            patch(series.path(k), rb"1.6250\1.6250", text)
        check(f"has PixelSpacing '{text.decode()}', which")

    series.write_all(PixelSpacing=None, ImagerPixelSpacing=[0.2, 0.2])
    warning = tool.warning(series.folder, "--units", "mm")
    assert "took its ImagerPixelSpacing, measured at the detector and not in the patient" in warning, warning
    image = tool.map(series.folder)
    numpy.testing.assert_allclose(image.header.get_zooms()[:2], 0.2)
    voxels = numpy.array(image.get_fdata())
    millimetres = tool.map(series.folder, "--units", "mm").get_fdata()
    numpy.testing.assert_allclose(millimetres, voxels * 0.2, rtol=1e-6)


def frame_of(path):
    return next(generate_pixel_data_frame(pydicom.dcmread(path).PixelData, 1))


def replace_frame(path, frame):
    data = pydicom.dcmread(path)
    data.PixelData = encapsulate([frame])
    data["PixelData"].is_undefined_length = True
    data.save_as(path)


CODINGS = {"JPEG lossless": "--jpeg", "JPEG-LS": "--jpegls", "JPEG 2000": "--j2k", "run lengths": "--rle"}


def check_coding(tool, folder, coding):
    """Compressed slices have the values of those without compression, and are refused when they are cut."""
    series = Series(os.path.join(folder, "coded"), "1.2.3.63", 4)
    series.values = numpy.random.default_rng(4).integers(-900, 900, (37, 29, 4)) // 300
    series.write_all()
    for k in range(4):
        coded = series.path(k) + ".new"
        subprocess.run(["gdcmconv", CODINGS[coding], series.path(k), coded], check=True)
        os.replace(coded, series.path(k))
        assert pydicom.dcmread(series.path(k)).file_meta.TransferSyntaxUID.is_compressed
    check_values(tool, series.folder, series.values)

    whole, size = os.path.join(folder, "whole"), os.path.getsize(series.path(1))
    os.rename(series.path(1), whole)
    for cut in (8, 20, 60, 150):
        shutil.copy(whole, series.path(1))
        os.truncate(series.path(1), size - cut)
        refusal = tool.refusal(series.folder)
        assert f"{series.names[1]} is incomplete: its pixel data are cut" in refusal, refusal
        assert "is incomplete: its pixel data are cut" in tool.warning(series.folder, "--skip-damaged", "--uneven")
    # Cut data in a file that is whole.
    frame = frame_of(whole)
    for cut in (4, 10, 40, len(frame) // 2):
        shutil.copy(whole, series.path(1))
        replace_frame(series.path(1), frame[:len(frame) - cut])
        done = tool.run(series.folder)
        assert done.returncode == 3 and series.names[1] in done.stderr, (coding, cut, len(frame), done)
    shutil.copy(whole, series.path(1))
    if coding.startswith("JPEG ") and coding != "JPEG 2000":
        middle = len(frame) // 2
        replace_frame(series.path(1), frame[:middle] + b"\xff\x00" * 10 + frame[middle + 20:])
        assert "its pixel data" in tool.refusal(series.folder)


def main(path):
    with tempfile.TemporaryDirectory() as folder:
        tool = Tool(path, folder)
        check_types(tool, folder)
        check_scaling(tool, folder)
        check_inverted_display(tool, folder)
        check_spacing(tool, folder)
        for coding in CODINGS:
            check_coding(tool, folder, coding)


if __name__ == "__main__":
    main(*sys.argv[1:])

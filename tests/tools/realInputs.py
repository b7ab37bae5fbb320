"""Runs lorb-distance on real files of other packages: each opens, or is refused for the reason that is stated here.
Maps of NIfTI files lie where nibabel says that the files do.

Usage: realInputs.py LORB-DISTANCE. The packages mricron-data, python3-nibabel and python3-pydicom have the files; one
without any, or without one that is to be refused, is a failure.
"""

import glob
import os
import subprocess
import sys
import tempfile

import nibabel
import numpy

PYTHON = "/usr/lib/python3/dist-packages"
# Folder, what is taken of it, and what is said of each file that is refused; None opens.
FOLDERS = {
    "/usr/share/mricron/templates": ("*.nii.gz", {}),
    f"{PYTHON}/nibabel/tests/data": ("*.nii*", {
        "example4d.nii.gz": "holds 2 volumes; expected --volume K, K one of 0 to 1",
        "functional.nii": "holds 20 volumes; expected --volume K, K one of 0 to 19",
        "example_nifti2.nii.gz": "holds 2 volumes; expected --volume K, K one of 0 to 1",
        "row_major.dconn.nii": "volumes; expected --volume K",
    }),
}

# Each DICOM file alone in a folder, since many share the number of a series; by the beginning of their names.
DICOM = f"{PYTHON}/pydicom/data/test_files"
DICOM_REFUSED = {
    "holds 3 values a voxel; expected 1": ("ExplVR_BigEnd.", "GDCMJ2K_TextGBR", "SC_"),
    "is no DICOM image, or a damaged one": (
        "UN_sequence", "empty_charset_LEI", "meta_missing_tsyntax", "nested_priv_SQ", "no_meta", "priv_SQ",
        "rtplan_truncated"),
    "holds no DICOM image; expected a slice": (
        "ExplVR_BigEndNoMeta", "ExplVR_LitEndNoMeta", "reportsi", "rtplan.", "rtstruct", "test-SR", "waveform_ecg"),
    "has NumberOfFrames '1A'": ("badVR",),
    "describes 3 frames; expected 1": ("liver_1frame", "liver_expb_1frame"),
    "is incomplete: its pixel data are cut": ("MR_truncated",),
    "is damaged: its pixel data of coding 1.2.840.10008.1.2.4.91 can't be decoded": (
        "JPEG2000-embedded-sequence-delimiter",),
}


def expected_of(name):
    for reason, beginnings in DICOM_REFUSED.items():
        if name.startswith(beginnings):
            return reason
    return None


def outcome(tool, path, result):
    done = subprocess.run([tool, path, "-o", result, "--force"], capture_output=True, text=True)
    complaint = [line for line in done.stderr.splitlines() if " warning: " not in line]
    assert done.returncode in (0, 3), (path, done.returncode, done.stderr)
    assert len(complaint) == (done.returncode != 0), (path, done.stderr)
    return complaint[0] if complaint else None


def check(path, complaint, expected):
    if expected is None:
        assert complaint is None, f"{path} was refused: {complaint}"
    else:
        assert complaint is not None and expected in complaint, f"{path}: {complaint}, expected: {expected}"


def files_in(folder, pattern, expected=()):
    """Their paths; at least one, and all those whose names begin like `expected`."""
    paths = sorted(glob.glob(os.path.join(folder, pattern)))
    assert paths, f"no file {pattern} in {folder}; see scripts/install-packages test"
    names = [os.path.basename(path) for path in paths]
    gone = [name for name in expected if not any(other.startswith(name) for other in names)]
    assert not gone, f"{folder} has no {', '.join(gone)} any more"
    return paths


def place_of(path):
    """The affine matrix of a MetaImage file, to the right, anterior and superior as nibabel has it."""
    fields = {}
    with open(path, "rb") as file:
        for line in iter(file.readline, b""):
            name, value = line.decode().split(" = ")
            fields[name] = value.split()
            if name == "ElementDataFile":
                break
    numbers = {name: numpy.array(fields[name], float) for name in ("TransformMatrix", "Offset", "ElementSpacing")}
    affine = numpy.eye(4)
    affine[:3, :3] = (numbers["TransformMatrix"].reshape(3, 3) * numbers["ElementSpacing"][:, None]).T
    affine[:3, 3] = numbers["Offset"]
    return numpy.diag([-1, -1, 1, 1]) @ affine


def main(tool):
    count = 0
    with tempfile.TemporaryDirectory() as folder:
        result = os.path.join(folder, "map.mha")
        for source, (pattern, refused) in FOLDERS.items():
            for path in files_in(source, pattern, refused):
                complaint = outcome(tool, path, result)
                check(path, complaint, refused.get(os.path.basename(path)))
                if complaint is None:
                    expected = nibabel.load(path).affine
                    numpy.testing.assert_allclose(place_of(result), expected, rtol=1e-5, atol=1e-4, err_msg=path)
                count += 1
        alone = os.path.join(folder, "alone")
        os.mkdir(alone)
        for path in files_in(DICOM, "*.dcm", [name for names in DICOM_REFUSED.values() for name in names]):
            copy = os.path.join(alone, os.path.basename(path))
            with open(path, "rb") as original, open(copy, "wb") as file:
                file.write(original.read())
            complaint = outcome(tool, copy, result)
            os.remove(copy)
            check(path, complaint, expected_of(os.path.basename(path)))
            count += 1
        # The whole heap at once: one series is taken or refused, and the others are named.
        outcome(tool, DICOM, result)
        count += 1
    print(f"{count} inputs")


if __name__ == "__main__":
    main(*sys.argv[1:])

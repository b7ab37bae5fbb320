"""Checks with nibabel what lorb-distance makes of NIfTI files: usage niftiPlace.py LORB-DISTANCE."""

import gzip
import itertools
import os
import re
import struct
import subprocess
import sys
import tempfile

import nibabel
import nibabel.spm2analyze
import numpy


def oblique_affine():
    """Three different spacings, an origin away from 0, axes oblique to all others."""
    a, b = 0.3, -0.5
    about_x = [[1, 0, 0], [0, numpy.cos(a), -numpy.sin(a)], [0, numpy.sin(a), numpy.cos(a)]]
    about_z = [[numpy.cos(b), -numpy.sin(b), 0], [numpy.sin(b), numpy.cos(b), 0], [0, 0, 1]]
    affine = numpy.eye(4)
    affine[:3, :3] = numpy.array(about_z) @ about_x @ numpy.diag([-0.75, 1.25, 2.5])
    affine[:3, 3] = [91.25, -126.5, -72.75]
    return affine


def brute_force(inside):
    """Signed distances within each slice of constant last index, by comparing all with all."""
    distances = numpy.zeros(inside.shape)
    for k in range(inside.shape[2]):
        here, there = numpy.argwhere(inside[:, :, k]), numpy.argwhere(~inside[:, :, k])
        between = numpy.sqrt(((here[:, None, :] - there[None, :, :]) ** 2).sum(-1))
        distances[here[:, 0], here[:, 1], k] = -between.min(1)
        distances[there[:, 0], there[:, 1], k] = between.min(0)
    return distances


def run(tool, *arguments):
    subprocess.run([tool, *arguments], check=True, stdout=subprocess.DEVNULL)


def check_map(path, affine, expected, codes, source=None):
    """The map's place is `affine`; to the last bit that of the NIfTI file `source`, if there is one."""
    image = nibabel.load(path)
    assert image.get_data_dtype() == numpy.float32, image.get_data_dtype()
    placed = [image.affine]
    for matrix, code in ((image.get_qform(coded=True), codes[0]), (image.get_sform(coded=True), codes[1])):
        assert matrix[1] == code, (path, matrix[1], code)
        placed.append(matrix[0])
    for matrix in placed:
        # Single precision, and what a quaternion of three such numbers makes of it.
        numpy.testing.assert_allclose(matrix, affine, rtol=2e-6, atol=5e-6)
    if source:
        original = nibabel.load(source)
        for matrix, exact in zip(placed, (original.affine, original.get_qform(), original.get_sform())):
            numpy.testing.assert_array_equal(matrix, exact)
    numpy.testing.assert_allclose(image.get_fdata(), expected, rtol=1e-6)


def main(tool):
    random = numpy.random.default_rng(5)
    values = random.integers(-3, 4, (13, 11, 5)).astype(numpy.int16)
    affine = oblique_affine()
    expected = brute_force(values > 0)
    with tempfile.TemporaryDirectory() as folder:
        for codes, extension in itertools.product(((1, 1), (2, 4), (1, 3)), (".nii", ".nii.gz")):
            source, result = (os.path.join(folder, name + extension) for name in ("in", "out"))
            image = nibabel.Nifti1Image(values, affine)
            image.set_qform(affine, codes[0])
            image.set_sform(affine, codes[1])
            nibabel.save(image, source)
            run(tool, source, "-o", result, "--force")
            check_map(result, affine, expected, codes, source)
            for other in (".mha", ".nrrd", ".nhdr", ".mhd"):
                between = os.path.join(folder, "between" + other)
                run(tool, source, "-o", between, "--force")
                # What is above 0 in a map is what was outside.
                run(tool, between, "-o", result, "--force")
                check_map(result, affine, -expected, (1, 1))

        # Placed in the scanner by one matrix and in an atlas by another: both belong to the map as well.
        for byte_order in "<>":
            image = nibabel.Nifti1Image(values, None, nibabel.Nifti1Header(endianness=byte_order))
            image.set_qform(affine, 1)
            in_atlas = affine @ numpy.diag([1.1, 0.9, 1.0, 1.0])
            in_atlas[0, 1] += 0.2
            image.set_sform(in_atlas, 4)
            image.header.set_xyzt_units("micron")
            image.header["descrip"] = b"two places"
            nibabel.save(image, source)
            run(tool, source, "-o", result, "--force")
            before, after = nibabel.load(source).header, nibabel.load(result).header
            for get in ("get_qform", "get_sform", "get_xyzt_units", "get_zooms"):
                numpy.testing.assert_array_equal(getattr(after, get)(), getattr(before, get)())
            for field in ("qform_code", "sform_code", "descrip"):
                assert after[field] == before[field], (field, after[field], before[field])

        scaled = nibabel.Nifti1Image(values, affine)
        scaled.header.set_slope_inter(0.5, 1.0)
        nibabel.save(scaled, os.path.join(folder, "scaled.nii"))
        threshold = nibabel.load(os.path.join(folder, "scaled.nii")).get_fdata() > 1.5
        run(tool, os.path.join(folder, "scaled.nii"), "-o", result, "--force", "--above", "1.5")
        numpy.testing.assert_allclose(nibabel.load(result).get_fdata(), brute_force(threshold), rtol=1e-6)

        # Floating-point voxels, of either byte order, scaled or not, with one that is no number.
        for byte_order, kind, scale in itertools.product("<>", (numpy.float32, numpy.float64), (None, (0.5, 1.0))):
            real = values.astype(kind)
            real[3, 4, 2] = numpy.nan
            image = nibabel.Nifti1Image(real, affine, nibabel.Nifti1Header(endianness=byte_order))
            image.set_data_dtype(kind)
            nibabel.save(image, source)
            if scale:
                set_scale(source, byte_order, scale)
            inside = nibabel.load(source).get_fdata() < 1.25
            run(tool, source, "-o", result, "--force", "--below", "1.25")
            numpy.testing.assert_allclose(nibabel.load(result).get_fdata(), brute_force(inside), rtol=1e-6)

        check_several_volumes(tool, folder, affine)
        check_places(tool, folder, affine)
        check_kinds(tool, folder, affine)
        check_millimetres(tool, folder)


def set_scale(path, byte_order, scale):
    """Writes slope and intercept into the header, where nibabel keeps floats unscaled."""
    with gzip.open(path) as file:
        content = bytearray(file.read())
    struct.pack_into(byte_order + "ff", content, 112, *scale)
    with gzip.open(path, "wb") as file:
        file.write(content)


def check_several_volumes(tool, folder, affine):
    source, result = os.path.join(folder, "four.nii.gz"), os.path.join(folder, "one.nii")
    for kind in (numpy.int16, numpy.int64, numpy.float32):
        values = numpy.random.default_rng(6).integers(-3, 4, (7, 6, 5, 4)).astype(kind)
        image = nibabel.Nifti1Image(values, affine, dtype=kind)
        image.set_qform(affine, 1)
        image.set_sform(affine, 1)
        nibabel.save(image, source)
        for volume in range(4):
            run(tool, source, "--volume", str(volume), "-o", result, "--force")
            check_map(result, affine, brute_force(values[..., volume] > 0), (1, 1), source)


def warnings_of(tool, *arguments):
    done = subprocess.run([tool, *arguments], check=True, capture_output=True, text=True)
    return [line for line in done.stderr.splitlines() if " warning: input " in line]


def nrrd_affine(path):
    """Where an NRRD file lies, to the right, anterior and superior as nibabel has it."""
    with open(path, "rb") as file:
        header = file.read().split(b"\n\n")[0].decode()
    vectors = [[float(x) for x in vector.split(",")] for vector in re.findall(r"\(([^)]*)\)", header)]
    assert "space: left-posterior-superior" in header and len(vectors) == 4, header
    affine = numpy.eye(4)
    affine[:3, :3], affine[:3, 3] = numpy.array(vectors[:3]).T, vectors[3]
    return numpy.diag([-1, -1, 1, 1]) @ affine


def check_places(tool, folder, affine):
    """Of two placements the one that nibabel takes is kept in a format of one, and a warning tells of it."""
    source, result = os.path.join(folder, "place.nii.gz"), os.path.join(folder, "place.nrrd")
    mirrored = numpy.diag([-1, 1, 1, 1]) @ affine
    for qform, sform, codes in ((affine, mirrored, (1, 4)), (mirrored, affine, (2, 2)), (affine, mirrored, (1, 0)),
                                (mirrored, affine, (0, 3)), (affine, affine, (1, 1))):
        image = nibabel.Nifti1Image(numpy.arange(60, dtype=numpy.int16).reshape(3, 4, 5), None)
        image.set_qform(qform, codes[0])
        image.set_sform(sform, codes[1])
        nibabel.save(image, source)
        warnings = warnings_of(tool, source, "-o", result, "--force", "--above", "30")
        numpy.testing.assert_allclose(nrrd_affine(result), nibabel.load(source).affine, rtol=2e-6, atol=5e-6)
        told = min(codes) > 0 and qform is not sform
        assert len([line for line in warnings if "places its voxels twice" in line]) == told, (codes, warnings)


def check_kinds(tool, folder, affine):
    """NIfTI-2, pairs, Analyze and two dimensions, as nibabel writes and reads them."""
    values = numpy.random.default_rng(7).integers(-3, 4, (7, 6, 5)).astype(numpy.int16)
    kinds = (
        (nibabel.Nifti1Image(values, affine), "a.nii"),
        (nibabel.Nifti2Image(values, affine), "b.nii.gz"),
        (nibabel.Nifti2Image(values, affine, nibabel.Nifti2Header(endianness=">")), "c.nii"),
        (nibabel.Nifti1Pair(values, affine), "d.img"),
        (nibabel.Nifti1Pair(values, affine, nibabel.nifti1.Nifti1PairHeader(endianness=">")), "e.hdr"),
        (nibabel.nifti2.Nifti2Pair(values, affine), "f.hdr"),
        (nibabel.spm2analyze.Spm2AnalyzeImage(values, None), "g.hdr"),
        (nibabel.spm2analyze.Spm2AnalyzeImage(values, None, nibabel.spm2analyze.Spm2AnalyzeHeader(endianness=">")), "h.img"),
    )
    for number, (image, name) in enumerate(kinds):
        analyze = isinstance(image, nibabel.spm2analyze.Spm2AnalyzeImage)
        if analyze:
            image.header.set_zooms((2.0, 3.0, 4.0))
            if number % 2:
                image.header["origin"][:3] = (2, 4, 5)
        source, result = os.path.join(folder, name), os.path.join(folder, "kind.nii.gz")
        nibabel.save(image, source)
        if analyze and os.path.exists(source[:-4] + ".mat"):
            os.remove(source[:-4] + ".mat")
        original = nibabel.load(source)
        assert type(original) is type(image), (name, type(original))
        warnings = warnings_of(tool, source, "-o", result, "--force")
        assert any("Analyze" in line for line in warnings) == analyze, (name, warnings)
        found = nibabel.load(result)
        assert (found.header["sizeof_hdr"] == 540) == (image.header["sizeof_hdr"] == 540), name
        if analyze:
            numpy.testing.assert_allclose(found.affine, original.affine, rtol=1e-6, atol=1e-6)
        else:
            numpy.testing.assert_array_equal(found.affine, original.affine)
        numpy.testing.assert_allclose(found.get_fdata(), brute_force(values > 0), rtol=1e-6)

    flat = nibabel.Nifti1Image(values[:, :, 2], affine)
    nibabel.save(flat, source := os.path.join(folder, "flat.nii"))
    run(tool, source, "-o", result, "--force")
    found = nibabel.load(result)
    numpy.testing.assert_array_equal(found.affine, nibabel.load(source).affine)
    numpy.testing.assert_allclose(found.get_fdata(), brute_force(values[:, :, 2:3] > 0)[:, :, 0], rtol=1e-6)


def check_millimetres(tool, folder):
    """Sheared volumes are mapped in voxels, and in millimetres where slices are not sheared within."""
    values = numpy.random.default_rng(9).integers(-3, 4, (7, 6, 5)).astype(numpy.int16)
    sheared, tilted, nearly, oblong = (numpy.diag([0.5, 0.5, 2.0, 1.0]) for _ in range(4))
    sheared[0, 1] = 0.02
    tilted[1, 2] = 0.7
    nearly[1, 1] = 0.50049
    oblong[1, 1] = 0.5006
    cases = ((sheared, None, "at an angle of 87.7"), (tilted, 0.5, None), (nearly, 0.500245, None),
             (oblong, None, "expected square ones"))
    for affine, length, complaint in cases:
        image = nibabel.Nifti1Image(values, None)
        image.set_qform(None)
        image.set_sform(affine, 2)
        source = os.path.join(folder, "sheared.nii")
        nibabel.save(image, source)
        affine = nibabel.load(source).affine
        for extension in (".nii.gz", ".nrrd"):
            result = os.path.join(folder, "sheared-map" + extension)
            run(tool, source, "-o", result, "--force")
            found = nibabel.load(result).affine if extension == ".nii.gz" else nrrd_affine(result)
            numpy.testing.assert_allclose(found, affine, rtol=1e-6, atol=1e-6)
        result = os.path.join(folder, "sheared-map.nii.gz")
        numpy.testing.assert_allclose(nibabel.load(result).get_fdata(), brute_force(values > 0), rtol=1e-6)
        done = subprocess.run([tool, source, "-o", result, "--force", "--units", "mm"], capture_output=True, text=True)
        if complaint:
            assert done.returncode == 3 and complaint in done.stderr, done
        else:
            assert done.returncode == 0, done
            numpy.testing.assert_allclose(nibabel.load(result).get_fdata(), length * brute_force(values > 0), rtol=1e-6)


if __name__ == "__main__":
    main(*sys.argv[1:])

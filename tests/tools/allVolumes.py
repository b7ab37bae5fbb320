"""Maps of all volumes of a file of four dimensions: usage allVolumes.py LORB-DISTANCE SCHEMA."""

import json
import os
import subprocess
import sys
import tempfile

import jsonschema
import nibabel
import numpy


def nrrd(values):
    """The values as an NRRD file of four dimensions, the fourth being the slowest."""
    sizes = " ".join(map(str, values.shape))
    return (f"NRRD0004\ntype: int16\ndimension: 4\nsizes: {sizes}\nencoding: raw\nendian: little\n\n").encode() + \
        values.astype("<i2").tobytes(order="F")


def main(tool, schema_path):
    tool = os.path.abspath(tool)
    with open(schema_path) as file:
        schema = json.load(file)
    with tempfile.TemporaryDirectory() as folder:

        def run(*arguments, code=0):
            done = subprocess.run([tool, *arguments, "--force"], cwd=folder, capture_output=True, text=True)
            assert done.returncode == code, (arguments, done)
            return done

        def map_of(*arguments):
            run(*arguments)
            return nibabel.load(os.path.join(folder, arguments[arguments.index("-o") + 1]))

        values = numpy.random.default_rng(4).integers(0, 3, (9, 8, 6, 5)).astype(numpy.int16)
        values[..., 3] = 0
        place = numpy.array([[-2.0, 0, 0, 5], [0, 2, 0, -7], [0, 0, 3, 1], [0, 0, 0, 1]])
        image = nibabel.Nifti1Image(values, place)
        image.header.set_xyzt_units("mm", "sec")
        image.header["pixdim"][4] = 1.5
        image.header["toffset"] = 0.5
        for name in ("in.nii", "in.nii.gz"):
            nibabel.save(image, os.path.join(folder, name))
        nibabel.save(nibabel.Nifti2Image(values, place), os.path.join(folder, "two.nii"))
        with open(os.path.join(folder, "in.nrrd"), "wb") as file:
            file.write(nrrd(values))

        for plane in ("xy", "xz", "yz"):
            alone = [map_of("in.nii", "-o", "one.nii", "--volume", str(k), "--plane", plane).get_fdata()
                     for k in range(values.shape[3])]
            for source in ("in.nii", "in.nii.gz", "two.nii", "in.nrrd"):
                for target in ("map.nii", "map.nii.gz"):
                    made = map_of(source, "-o", target, "--all-volumes", "--plane", plane)
                    assert made.get_data_dtype() == numpy.float32, made.header
                    assert numpy.array_equal(made.get_fdata(), numpy.stack(alone, axis=3)), (source, plane, target)
                    assert source == "in.nrrd" or numpy.array_equal(made.affine, place), (source, made.affine)
                    assert not any(name.startswith(".") for name in os.listdir(folder)), os.listdir(folder)

        header = map_of("in.nii.gz", "-o", "map.nii.gz", "--all-volumes").header
        assert header["pixdim"][4] == 1.5 and header["toffset"] == 0.5 and header.get_xyzt_units() == ("mm", "sec")
        assert type(map_of("two.nii", "-o", "map.nii", "--all-volumes")) is nibabel.Nifti2Image

        # Labels are those of all volumes.
        run("in.nii", "-o", "label.nii", "--all-volumes", "--each-label", "--sidecar")
        for label in (1, 2):
            made = nibabel.load(os.path.join(folder, f"label-{label}.nii")).get_fdata()
            assert numpy.array_equal(made < 0, values == label)
        with open(os.path.join(folder, "label-1.json")) as file:
            assert json.load(file)["InsideVoxels"] == (values == 1).sum()

        document = json.loads(run("in.nii", "-o", "map.nii", "--all-volumes", "--json", "-").stdout)
        jsonschema.validate(document, schema)
        (only,) = document["maps"]
        assert document["input"]["volumes"] == 5
        assert [s["slice"] for s in only["slices"]] == list(range(30)) and only["insideVoxels"] == (values > 0).sum()
        assert [s["slice"] for s in only["slices"] if not s["hasBoundary"]] == list(range(18, 24))

        # One volume stays one, and many inputs may be of several.
        assert map_of("one.nii", "-o", "map.nii", "--all-volumes").shape == (9, 8, 6)
        run("in.nii", "two.nii", "--output-dir", "maps", "--all-volumes")
        assert nibabel.load(os.path.join(folder, "maps/two_sdt.nii")).shape == values.shape

        for arguments, reason, code in ((["-o", "map.mha"], "expected a name with .nii or .nii.gz", 4),
                                        (["-o", "map.nii", "--volume", "1"], "leaves nothing to choose", 2),
                                        (["-o", "map.nii", "--preview", "a.png"], "--volume K", 2)):
            assert reason in run("in.nii", "--all-volumes", *arguments, code=code).stderr
        with open(os.path.join(folder, "in.nii"), "rb") as file:
            done = subprocess.run([tool, "-", "-o", "x.nii", "--all-volumes"], cwd=folder, stdin=file,
                                  capture_output=True, text=True)
        assert done.returncode == 2 and "in place of -" in done.stderr, done


if __name__ == "__main__":
    main(*sys.argv[1:])

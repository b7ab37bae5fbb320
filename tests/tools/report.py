"""Checks the report of lorb-distance --json: usage report.py LORB-DISTANCE SCHEMA."""

import json
import os
import shutil
import subprocess
import sys
import tempfile

import jsonschema
import nibabel
import numpy


def main(tool, schema_path):
    with open(schema_path) as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    with tempfile.TemporaryDirectory() as folder:

        def report(*arguments):
            done = subprocess.run([tool, *arguments, "--json", "-", "--force"], check=True, capture_output=True,
                                  text=True)
            document = json.loads(done.stdout)
            jsonschema.validate(document, schema)
            return document

        values = numpy.random.default_rng(8).integers(0, 4, (13, 11, 5)).astype(numpy.int16)
        values[:, :, 3] = 0
        source, result = (os.path.join(folder, name) for name in ("in.nii", "out.nii"))
        nibabel.save(nibabel.Nifti1Image(values, numpy.diag([0.5, 0.5, 2.0, 1.0])), source)

        document = report(source, "-o", result, "--units", "mm", "--threads", "1")
        image = nibabel.load(result).get_fdata()
        (only,) = document["maps"]
        assert only["path"] == result and only["insideVoxels"] == (values > 0).sum(), only
        assert only["allVoxels"] == values.size and only["label"] is None
        for k, summary in enumerate(only["slices"]):
            assert summary["slice"] == k
            assert summary["minimum"] == image[:, :, k].min() and summary["maximum"] == image[:, :, k].max()
            assert summary["hasBoundary"] == (k != 3)
        assert only["withoutBoundary"] == {"count": 1, "ranges": [[3, 3]]}, only["withoutBoundary"]
        assert document["settings"] == {"plane": "xy", "slice": None, "units": "mm", "voxelLength": 0.5,
                                        "noBoundary": "diagonal", "threads": 1}
        assert document["input"]["spacing"] == [0.5, 0.5, 2.0] and document["input"]["type"] == "Int16"
        assert document["warnings"] == []
        seconds = document["seconds"]
        assert sum(v for k, v in seconds.items() if k != "total") <= seconds["total"] + 1e-6, seconds

        document = report(source, "-o", result, "--each-label", "--no-boundary", "nan", "--slice", "3")
        assert [m["label"] for m in document["maps"]] == [1, 2, 3]
        for of_label in document["maps"]:
            assert of_label["slices"] == [{"slice": 3, "minimum": None, "maximum": None, "hasBoundary": False}]
        assert len(document["warnings"]) == 3 and "NaN in that slice" in document["warnings"][0]

        # Neighbours among 64-bit labels stay apart.
        large = os.path.join(folder, "large.nii")
        nibabel.save(nibabel.Nifti1Image(values[:, :, :1] * numpy.int64(1) + (2 ** 53), numpy.eye(4), dtype="int64"), large)
        document = report(large, "-o", large.replace("large", "map"), "--each-label", "--preview",
                          large.replace("large.nii", "map.png"))
        assert [m["label"] for m in document["maps"]] == [2 ** 53 + k for k in range(4)], document["maps"]
        assert document["seconds"]["picture"] > 0.0
        for name in os.listdir(folder):
            if name.startswith(("large", "map")):
                os.remove(os.path.join(folder, name))

        # A report in a file is what is printed otherwise, and the lines for people then are where they belong.
        path = os.path.join(folder, "report.json")
        done = subprocess.run([tool, source, "-o", result, "--force", "--json", path], check=True,
                              capture_output=True, text=True)
        assert done.stdout.startswith("input:") and done.stderr == "", done
        with open(path) as file:
            jsonschema.validate(json.load(file), schema)
        assert sorted(os.listdir(folder)) == ["in.nii", "out-1.nii", "out-2.nii", "out-3.nii", "out.nii",
                                              "report.json"], os.listdir(folder)

        check_locale(tool, source, result)


def check_locale(tool, source, result):
    """Numbers follow no locale: they are read and written the same where commas are usual."""
    with tempfile.TemporaryDirectory() as locales:
        made = subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", f"{locales}/de_DE.UTF-8"],
                              capture_output=True) if shutil.which("localedef") else None
        environment = dict(os.environ, LC_ALL="de_DE.UTF-8", LOCPATH=locales)
        point = subprocess.run(["locale", "decimal_point"], capture_output=True, text=True, env=environment).stdout
        if made is None or point != ",\n":
            print("no locale with commas can be made here")
            return
        for environment in (environment, dict(os.environ, LC_ALL="C")):
            subprocess.run([tool, source, "-o", result, "--force", "--above", "0.5", "--json", result + ".json"],
                           check=True, stdout=subprocess.DEVNULL, env=environment)
            with open(result, "rb") as file, open(result + ".json") as report:
                document = json.load(report)
                made = file.read(), document["input"], document["maps"], document["settings"]
            assert document["input"]["spacing"] == [0.5, 0.5, 2.0]
            expected = made if environment["LC_ALL"] != "C" else expected
        assert made == expected


if __name__ == "__main__":
    main(*sys.argv[1:])

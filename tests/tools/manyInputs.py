"""Maps of many inputs in one run: usage manyInputs.py LORB-DISTANCE SCHEMA."""

import json
import os
import signal
import subprocess
import sys
import tempfile
import time

import jsonschema
import nibabel
import numpy


class Bench:
    """A folder with a small BIDS data set, and the tool to run there."""

    def __init__(self, tool, schema, folder):
        self.tool, self.schema, self.folder = os.path.abspath(tool), schema, folder
        random = numpy.random.default_rng(12)
        self.inputs = []
        for subject in ("01", "02", "03"):
            name = f"sub-{subject}/anat/sub-{subject}_desc-brain_dseg.nii.gz"
            os.makedirs(os.path.dirname(self.path(name)))
            self.save(name, random.integers(0, 3, (13, 11, 5)))
            self.inputs.append(name)

    def path(self, name):
        return os.path.join(self.folder, name)

    def save(self, name, values):
        nibabel.save(nibabel.Nifti1Image(values.astype(numpy.int16), numpy.eye(4)), self.path(name))

    def run(self, *arguments, code=0):
        done = subprocess.run([self.tool, *arguments], cwd=self.folder, capture_output=True, text=True)
        assert done.returncode == code, (arguments, done)
        return done

    def values(self, name):
        return nibabel.load(self.path(name)).get_fdata()

    def content(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def files(self, folder):
        return sorted(os.path.relpath(os.path.join(where, name), self.path(folder))
                      for where, _, names in os.walk(self.path(folder)) for name in names)


def maps_are_those_of_single_runs(bench):
    """Whatever the number of jobs; names keep the entities."""
    for jobs in ("1", "2", "8"):
        done = bench.run(*bench.inputs, "--output-dir", f"maps{jobs}", "--jobs", jobs, "--units", "mm", "--label", "2")
        assert done.stderr == "" and done.stdout.endswith("3 of 3 inputs done\n"), done
        assert bench.files(f"maps{jobs}") == [f"sub-0{k}_desc-brain_sdt.nii.gz" for k in (1, 2, 3)]
        for k, name in enumerate(bench.inputs, 1):
            bench.run(name, "-o", "single.nii", "--force", "--units", "mm", "--label", "2")
            made = bench.values(f"maps{jobs}/sub-0{k}_desc-brain_sdt.nii.gz")
            assert numpy.array_equal(made, bench.values("single.nii"))


def names_follow_the_pattern(bench):
    bench.run(*bench.inputs, "--output-dir", "named", "--each-label", "--sidecar", "--preview", "pictures/{stem}-{label}.png",
              "--name", "sub-{sub}/{stem}_desc-{label}_sdt.mha", "-q")
    expected = []
    for k in ("01", "02", "03"):
        for label in ("1", "2"):
            stem = f"sub-{k}_desc-brain_dseg"
            expected += [f"sub-{k}/{stem}_desc-{label}_sdt.mha", f"sub-{k}/{stem}_desc-{label}_sdt.json",
                         f"pictures/{stem}-{label}.png"]
    assert bench.files("named") == sorted(expected), bench.files("named")
    bench.run(*bench.inputs, "--output-dir", "default", "--each-label", "-q")
    assert "sub-02_label-1_desc-brain_sdt.nii.gz" in bench.files("default")


def sidecars_say_what_a_map_is(bench):
    with open(bench.path("named/sub-02/sub-02_desc-brain_dseg_desc-1_sdt.json")) as file:
        sidecar = json.load(file)
    values = bench.values(bench.inputs[1])
    assert sidecar["Sources"] == [bench.inputs[1]] and sidecar["Units"] == "voxels" and sidecar["Label"] == 1
    assert sidecar["InsideVoxels"] == (values == 1).sum() and sidecar["GeneratedBy"][0]["Name"] == "lorb-distance"
    bench.run(bench.inputs[0], "-o", "one.nii.gz", "--sidecar", "--units", "mm")
    with open(bench.path("one.json")) as file:
        assert json.load(file)["Units"] == "mm"
    assert "--sidecar" in bench.run(bench.inputs[0], "-o", "-", "--sidecar", code=2).stderr


def a_failure_stops_nothing_else(bench):
    with open(bench.path("bad.nii"), "w") as file:
        file.write("no volume")
    inputs = [bench.inputs[0], "bad.nii", "gone.nii", bench.inputs[1]]
    done = bench.run(*inputs, "--output-dir", "some", "--jobs", "2", "--json", "report.json", "--above", "5", code=3)
    lines = done.stderr.splitlines()
    failures = [line for line in lines if "warning" not in line]
    warnings = [line for line in lines if "warning" in line]
    assert len(failures) == 2 and {"bad.nii" in line for line in failures} == {True, False}, failures
    assert len(warnings) == 2 and all("dseg.nii.gz" in line for line in warnings), warnings
    assert done.stdout.endswith("2 of 4 inputs done, 2 failed\n"), done.stdout
    assert len(bench.files("some")) == 2
    with open(bench.path("report.json")) as file:
        document = json.load(file)
    jsonschema.validate(document, bench.schema)
    assert [run["path"] for run in document["runs"]] == inputs
    assert [run["error"]["exitCode"] for run in document["runs"] if "error" in run] == [3, 3]
    assert "bad.nii" in document["runs"][1]["error"]["message"]
    assert document["runs"][0]["report"]["maps"][0]["insideVoxels"] == 0
    assert {key: document["summary"][key] for key in ("inputs", "done", "failed")} == {"inputs": 4, "done": 2, "failed": 2}
    # The report on standard output stands alone there.
    done = bench.run(*inputs, "--output-dir", "other", "--json", "-", "-q", code=3)
    jsonschema.validate(json.loads(done.stdout), bench.schema)


def nothing_is_replaced_unasked(bench):
    before = bench.content("some/sub-01_desc-brain_sdt.nii.gz")
    done = bench.run(bench.inputs[0], bench.inputs[2], "--output-dir", "some", code=4)
    assert "exists; expected a new name or --force" in done.stderr and "1 of 2 inputs done, 1 failed" in done.stdout
    assert bench.content("some/sub-01_desc-brain_sdt.nii.gz") == before
    bench.run(bench.inputs[0], "--output-dir", "some", "--force")
    assert bench.content("some/sub-01_desc-brain_sdt.nii.gz") != before


def inputs_are_never_replaced(bench):
    """Neither by their own maps nor by those of others."""
    os.mkdir(bench.path("flat"))
    bench.save("flat/a.nii", numpy.eye(4)[..., None])
    bench.save("flat/a-1.nii", numpy.eye(5)[..., None])
    before = bench.content("flat/a.nii"), bench.content("flat/a-1.nii")
    done = bench.run("flat/a.nii", "--output-dir", "flat", "--name", "{stem}{ext}", "--force", code=4)
    assert "is the input or a part of it" in done.stderr
    for order in (1, -1):
        done = bench.run(*["flat/a.nii", "flat/a-1.nii"][::order], "--output-dir", "flat", "--each-label", "--name",
                         "{stem}-{label}{ext}", "--force", code=4)
        assert "flat/a-1.nii: is the input" in done.stderr, done
        assert (bench.content("flat/a.nii"), bench.content("flat/a-1.nii")) == before


def two_maps_of_one_name_are_refused(bench):
    done = bench.run(*bench.inputs, "--output-dir", "same", "--name", "map{ext}", code=2)
    assert "would both be written to same/map.nii.gz" in done.stderr
    assert not os.path.exists(bench.path("same")), "found out before any work"
    # Names that only the labels tell: "a1" of label 2 and "a" of label 12.
    bench.save("a1.nii", numpy.diag([0, 2, 2])[..., None])
    bench.save("a.nii", numpy.diag([0, 12, 12])[..., None])
    for jobs in ("1", "2"):
        done = bench.run("a1.nii", "a.nii", "--output-dir", "same", "--each-label", "--name", "{stem}{label}{ext}",
                         "--force", "--jobs", jobs, code=4)
        assert "is written for another input as well" in done.stderr and "1 of 2 inputs done" in done.stdout, done
        assert bench.files("same") == ["a12.nii"]


def senseless_calls_are_refused(bench):
    for arguments, reason in ((["-o", "a.nii", "--name", "x"], "--output-dir"), (["--output-dir", "d", "-o", "a.nii"], "exclude"),
                              (["--output-dir", "d", "--name", "{nothing}"], "{nothing}"),
                              (["--output-dir", "d", "--name", "/x{ext}"], "without a slash at either end"),
                              (["--output-dir", "d", "--jobs", "0"], "--jobs '0'"),
                              (["-o", "a.nii", bench.inputs[1]], "--output-dir")):
        assert reason in bench.run(bench.inputs[0], *arguments, code=2).stderr, arguments
    assert not os.path.exists(bench.path("d"))
    assert "-" in bench.run("-", "--output-dir", "d", code=2).stderr
    with open(bench.path("file"), "w"):
        pass
    assert "file" in bench.run(bench.inputs[0], "--output-dir", "file", code=4).stderr


def memory_is_shared(bench):
    """What one job may have, two have half of each."""
    done = bench.run(*bench.inputs, "--output-dir", "little", "--memory", "40M", "--jobs", "2", code=5)
    assert done.stderr.count("20.0 MiB") == 3 or done.stderr.count("20 MiB") == 3, done.stderr


def an_interruption_ends_all(bench):
    big = numpy.zeros((400, 400, 120))
    big[100:300, 100:300] = 1
    for name in ("big1.nii.gz", "big2.nii.gz"):
        bench.save(name, big)
    for signal_number in (signal.SIGTERM, signal.SIGINT):
        process = subprocess.Popen([bench.tool, "big1.nii.gz", "big2.nii.gz", "--output-dir", "cut", "--jobs", "2"],
                                   cwd=bench.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        deadline = time.monotonic() + 60
        cut = bench.path("cut")
        while not (os.path.isdir(cut) and any(".lorb-distance-" in name for name in os.listdir(cut))):
            assert time.monotonic() < deadline and process.poll() is None, "ended before it could be interrupted"
            time.sleep(0.01)
        process.send_signal(signal_number)
        _, errors = process.communicate(timeout=60)
        assert process.returncode == 130 and errors == "lorb-distance: interrupted\n", (process.returncode, errors)
        assert os.listdir(cut) == [], os.listdir(cut)


def main(tool, schema_path):
    with open(schema_path) as file:
        schema = json.load(file)
    for check in (maps_are_those_of_single_runs, (names_follow_the_pattern, sidecars_say_what_a_map_is),
                  (a_failure_stops_nothing_else, nothing_is_replaced_unasked), inputs_are_never_replaced,
                  two_maps_of_one_name_are_refused, senseless_calls_are_refused, memory_is_shared,
                  an_interruption_ends_all):
        with tempfile.TemporaryDirectory() as folder:
            bench = Bench(tool, schema, folder)
            for step in check if isinstance(check, tuple) else (check,):
                step(bench)
                print(step.__name__)


if __name__ == "__main__":
    main(*sys.argv[1:])

"""Times the tool beside scripts that people write, whole processes on the same files.

    python3 benchmarks/endToEnd.py LORB-DISTANCE [--runs N] [--folder FOLDER] [--atlas LABELS.nii.gz]

Peers run in Python with nibabel, OpenCV and SciPy: in this one if it has them, else in one of their own that is made
in FOLDER (by default a new temporary one, which is removed) from the Python package index. Subjects take turns, and
the least wall time of each counts, so that a machine that serves others as well disturbs it least. Prints a table.
"""

import argparse
import importlib.util
import os
import platform
import subprocess
import sys
import tempfile
import time

PACKAGES = {"numpy": "numpy", "nibabel": "nibabel", "cv2": "opencv-python-headless", "scipy": "scipy"}

MAKE_INPUT = """
import sys, nibabel, numpy
random = numpy.random.default_rng(7)
y, x = numpy.mgrid[:512, :512].astype(numpy.float32)
volume = numpy.empty((300, 512, 512), numpy.int16)
for z in range(300):
    square = ((x - 256) / 220) ** 2 + ((y - 256) / 180) ** 2 + ((z - 150) / 160) ** 2
    slice = numpy.where(square < 1, 40, -1000) + 60 * numpy.sin(x / 17 + z / 9) * numpy.cos(y / 23) * (square < 0.86)
    slice[(square < 1) & (square > 0.86)] = 900
    volume[z] = numpy.round(slice + random.normal(0, 8, slice.shape))
image = nibabel.Nifti1Image(volume.transpose(2, 1, 0), numpy.diag([0.5, 0.5, 1, 1]))
nibabel.save(image, sys.argv[1])
nibabel.save(image, sys.argv[1] + ".gz")
"""

WITH_OPENCV = """
import sys, cv2, nibabel, numpy
image = nibabel.load(sys.argv[1])
inside = (numpy.asarray(image.dataobj) > 0).astype(numpy.uint8)
result = numpy.empty(inside.shape, numpy.float32)
for k in range(inside.shape[2]):
    mask = numpy.ascontiguousarray(inside[:, :, k])
    result[:, :, k] = (cv2.distanceTransform(1 - mask, cv2.DIST_L2, cv2.DIST_MASK_PRECISE)
                       - cv2.distanceTransform(mask, cv2.DIST_L2, cv2.DIST_MASK_PRECISE))
nibabel.save(nibabel.Nifti1Image(result, image.affine), sys.argv[2])
"""

WITH_SCIPY = """
import sys, nibabel, numpy
from scipy.ndimage import distance_transform_edt
image = nibabel.load(sys.argv[1])
inside = numpy.asarray(image.dataobj) > 0
result = numpy.empty(inside.shape, numpy.float32)
for k in range(inside.shape[2]):
    mask = inside[:, :, k]
    result[:, :, k] = distance_transform_edt(~mask) - distance_transform_edt(mask)
nibabel.save(nibabel.Nifti1Image(result, image.affine), sys.argv[2])
"""

# Reads 16-bit integers, writes them as floats, and nothing else.
CONVERSION = """
#include <stdio.h>
#include <stdint.h>
static int16_t in[1 << 19];
static float out[1 << 19];
int main(int count, char** names) {
  FILE *source = fopen(names[1], "rb"), *target = fopen(names[2], "wb");
  size_t got;
  setvbuf(source, 0, _IONBF, 0);
  setvbuf(target, 0, _IONBF, 0);
  while ((got = fread(in, 2, 1 << 19, source)) > 0) {
    for (size_t k = 0; k < got; ++k) out[k] = in[k];
    fwrite(out, 4, got, target);
  }
  return count != 3 || fclose(target) != 0;
}
"""


def python_with_peers(folder):
    if all(importlib.util.find_spec(name) for name in PACKAGES):
        return sys.executable
    python = os.path.join(folder, "peers", "bin", "python")
    if not os.path.exists(python):
        subprocess.run([sys.executable, "-m", "venv", os.path.join(folder, "peers")], check=True)
        subprocess.run([python, "-m", "pip", "--quiet", "install", *PACKAGES.values()], check=True)
    return python


def seconds(command):
    """Wall and processor time of a process and its children."""
    before, start = os.times(), time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wall, after = time.perf_counter() - start, os.times()
    return wall, after.children_user + after.children_system - before.children_user - before.children_system


def best_of(subjects, runs):
    for command in subjects.values():
        seconds(command)  # files into memory
    times = {name: [] for name in subjects}
    for _ in range(runs):
        for name, command in subjects.items():
            times[name].append(seconds(command))
    return {name: tuple(min(column) for column in zip(*of_name)) for name, of_name in times.items()}


def processor():
    with open("/proc/cpuinfo") as file:
        names = [line.partition(":")[2].strip() for line in file if line.startswith("model name")]
    return f"{names[0] if names else platform.machine()}, {len(os.sched_getaffinity(0))} processors"


def report(title, times, baseline):
    print(f"\n{title}\n\n| | wall time | processor time | share of the wall time |\n|---|---|---|---|")
    for name, (wall, cpu) in times.items():
        shares = ", ".join(f"{wall / times[peer][0]:.2f} × {peer}" for peer in baseline if peer != name)
        print(f"| {name} | {wall:.2f} s | {cpu:.2f} s | {shares if name.startswith('lorb') else ''} |")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tool")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--folder")
    parser.add_argument("--atlas", default="/usr/share/mricron/templates/aal.nii.gz")
    options = parser.parse_args()
    tool = os.path.abspath(options.tool)
    with tempfile.TemporaryDirectory() as temporary:
        folder = os.path.abspath(options.folder or temporary)
        os.makedirs(folder, exist_ok=True)

        def file(name, content=None):
            path = os.path.join(folder, name)
            if content is not None:
                with open(path, "w") as stream:
                    stream.write(content)
            return path

        python = python_with_peers(folder)
        source, target = file("head.nii"), file("map.nii")
        if not os.path.exists(source + ".gz"):
            subprocess.run([python, file("input.py", MAKE_INPUT), source], check=True)
        subprocess.run(["cc", "-O2", "-o", file("convert"), file("convert.c", CONVERSION)], check=True)

        print(f"{processor()}; the least of {options.runs} runs, in turn")
        lorb = [tool, "--force", "--threads", "2", "-q"]
        report("512 × 512 × 300 voxels of Int16, .nii.gz to .nii.gz", best_of({
            "lorb-distance, 2 threads": [*lorb, source + ".gz", "-o", target + ".gz"],
            "nibabel + OpenCV": [python, file("opencv.py", WITH_OPENCV), source + ".gz", file("opencv.nii.gz")],
            "nibabel + SciPy": [python, file("scipy_.py", WITH_SCIPY), source + ".gz", file("scipy.nii.gz")],
        }, options.runs), ("nibabel + OpenCV", "nibabel + SciPy"))
        report("The same, .nii to .nii", best_of({
            "lorb-distance, 2 threads": [*lorb, source, "-o", target],
            "conversion to floats alone": [file("convert"), source, file("floats.raw")],
        }, options.runs), ("conversion to floats alone",))
        if os.path.exists(options.atlas):
            report("--each-label, the regions of an atlas of 181 × 217 × 181 voxels, .nii.gz to .nii.gz", best_of({
                "lorb-distance, 2 threads": [*lorb, options.atlas, "--each-label", "-o", file("region.nii.gz")],
            }, options.runs), ())


if __name__ == "__main__":
    main()

#!/usr/bin/python3
"""SciPy's exact transform, once for the mask and once for its complement, timed slice by slice.

    peerSciPy.py MASKS REPETITIONS RESULTS.json

MASKS is the folder that `lorb-benchmark --write-masks` fills. RESULTS.json has the form of the other
timings, as far as the report reads it.
"""

import json
import pathlib
import sys
import time

import numpy
import scipy
from scipy.ndimage import distance_transform_edt


def signed_distance(mask):
    return numpy.where(mask, -distance_transform_edt(mask), distance_transform_edt(~mask))


def nanoseconds_per_voxel(slices):
    begin = time.process_time_ns()
    for mask in slices:
        signed_distance(mask)
    return (time.process_time_ns() - begin) / slices.size


def read_slices(path):
    """The slices of mask-XY-UInt8-SIDExSLICES-WORKLOAD.raw."""
    side, count = map(int, path.stem.split("-")[3].split("x"))
    return numpy.fromfile(path, dtype=numpy.uint8).reshape(count, side, side) > 0


def main():
    masks, repetitions, results = pathlib.Path(sys.argv[1]), int(sys.argv[2]), sys.argv[3]
    timings = []
    for path in sorted(masks.glob("mask-*.raw")):
        slices = read_slices(path)
        if not slices.any():
            continue  # SciPy leaves open what a slice without an object is
        name = path.stem.replace("mask", "scipy", 1).replace("-", "/")
        for _ in range(repetitions):
            timings.append({"name": name, "run_type": "iteration", "ns_voxel": nanoseconds_per_voxel(slices)})
            print(f"{name} {timings[-1]['ns_voxel']:.1f} ns per voxel")
    report = {"context": {"SciPy": scipy.__version__}, "benchmarks": timings}
    pathlib.Path(results).write_text(json.dumps(report, indent=1) + "\n")


main()

#!/usr/bin/python3
"""Draws docs/head.png, the picture of the README, from the maps of scripts/demo.

Needs python3-nibabel and python3-matplotlib.
"""

from pathlib import Path

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import nibabel
import numpy

ROOT = Path(__file__).resolve().parent.parent
HEAD = "/usr/share/mricron/templates/ch2bet.nii.gz"
SLICES = (40, 70, 100, 130)
RANGE = 40

head = nibabel.load(HEAD).get_fdata()
distance = nibabel.load(ROOT / "build/demo/head.nii.gz").get_fdata()

figure, axes = plt.subplots(1, len(SLICES), figsize=(11, 3.6), layout="constrained")
for axis, k in zip(axes, SLICES):
    map_of_slice = distance[:, :, k].T
    axis.imshow(head[:, :, k].T, cmap="gray", origin="lower")
    picture = axis.imshow(map_of_slice, cmap="RdBu_r", vmin=-RANGE, vmax=RANGE, origin="lower", alpha=0.75)
    axis.contour(map_of_slice, levels=[0], colors="black", linewidths=0.8)
    axis.set_title(f"slice {k}", fontsize=10)
    axis.set_axis_off()
figure.colorbar(picture, ax=axes, label="distance (voxels)", shrink=0.8, extend="both")
figure.savefig(ROOT / "docs/head.png", dpi=130, metadata={"Software": None})

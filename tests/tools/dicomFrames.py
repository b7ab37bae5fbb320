"""Checks what lorb-distance makes of DICOM files of several frames: usage dicomFrames.py LORB-DISTANCE."""

import os
import random
import sys
import tempfile
from types import SimpleNamespace

import numpy
import pydicom
from pydicom.sequence import Sequence

from dicomFiles import (SHAPE, TO_LPS, Tool, check_map, check_values, functional_groups, item, new_file, numbers,
                        packed, patch, place_of, right_handed_affine, write_frames)


class Frames:
    """The frames of a volume, which tests change before they are written."""

    def __init__(self, folder, name, times=1):
        self.path, self.uid = os.path.join(folder, name), "1.2.3.40"
        self.values = numpy.random.default_rng(7).integers(-3, 4, SHAPE + (times,))
        self.affine = right_handed_affine()
        self.frames = [self.frame(k, t) for t in range(times) for k in range(SHAPE[2])]

    def frame(self, k, t=0):
        place = place_of(self.affine, k)
        return SimpleNamespace(values=self.values[:, :, k, t], slope=1.0, intercept=0.0, indices=[k + 1, t + 1],
                               **vars(place))

    def write(self, **attributes):
        write_frames(self.path, self.frames, self.uid, **attributes)
        return self


def check_order(tool, folder):
    """Frames are sorted by their places, whatever their order in the file."""
    for kind in (pydicom.uid.EnhancedCTImageStorage, pydicom.uid.EnhancedMRImageStorage):
        ascending = Frames(folder, "ascending.dcm").write(kind=kind)
        check_map(tool.map(ascending.path), ascending, ascending.values[..., 0] > 0)
    descending = Frames(folder, "descending.dcm")
    descending.frames.reverse()
    check_map(tool.map(descending.write().path), descending, descending.values[..., 0] > 0)
    mixed = Frames(folder, "mixed.dcm")
    random.Random(2).shuffle(mixed.frames)
    check_map(tool.map(mixed.write().path), mixed, mixed.values[..., 0] > 0)
    alone = os.path.join(folder, "alone")
    os.mkdir(alone)
    os.rename(mixed.path, os.path.join(alone, "IM1"))
    check_map(tool.map(alone), mixed, mixed.values[..., 0] > 0)


def check_refusals(tool, folder):
    """The checks of classic series."""
    gap = Frames(folder, "gap.dcm")
    del gap.frames[2]
    refusal = tool.refusal(gap.write().path)
    assert "unevenly spaced: 5 mm between gap.dcm frame 2 and gap.dcm frame 3" in refusal, refusal
    assert "unevenly spaced" in tool.warning(gap.path, "--uneven")

    turned = Frames(folder, "turned.dcm")
    turned.frames[3].orientation = [1, 0, 0, 0, 1, 0]
    assert "are oriented differently" in tool.refusal(turned.write().path)

    spaced = Frames(folder, "spaced.dcm")
    spaced.frames[1].spacing = (1.25, 0.8)
    assert "differ in spacing" in tool.refusal(spaced.write().path)

    tilted = Frames(folder, "tilted.dcm")
    for k, frame in enumerate(tilted.frames):
        frame.position = frame.position + 0.3 * k * tilted.affine[:3, 0]
    assert "tilted gantry" in tool.refusal(tilted.write().path)

    aside = Frames(folder, "aside.dcm")
    aside.frames[2].position = aside.frames[2].position + aside.affine[:3, 1]
    assert "aside.dcm frame 3 lies 1.25 mm aside of aside.dcm frame 1" in tool.refusal(aside.write().path)

    twice = Frames(folder, "twice.dcm")
    twice.frames[1].position = twice.frames[2].position
    assert "lie at the same place in twice.dcm frame" in tool.refusal(twice.write().path)

    heap = Frames(folder, "heap.dcm")
    for frame in heap.frames:
        frame.position = heap.frames[0].position
    assert "holds 5 volumes; expected --volume K" in tool.refusal(heap.write().path)

    few = Frames(folder, "few.dcm").write()
    few.write(NumberOfFrames=4)
    assert "describes 5 frames; expected 4" in tool.refusal(few.path)

    for count in (0, -5, 2000000000):
        few.write(NumberOfFrames=count)
        assert "has NumberOfFrames" in tool.refusal(few.path) or "cut" in tool.refusal(few.path)


def check_times(tool, folder):
    """Frames at the same places are volumes in the order of their time, in one file or in a file each."""
    stack = Frames(folder, "stack.dcm", times=3)
    random.Random(3).shuffle(stack.frames)
    stack.write()
    assert "holds 3 volumes" in tool.refusal(stack.path)
    for t in range(3):
        check_map(tool.map(stack.path, "--volume", str(t)), stack, stack.values[..., t] > 0)
    several = os.path.join(folder, "several")
    os.mkdir(several)
    for t in range(3):
        part = [frame for frame in stack.frames if frame.indices[1] == t + 1]
        write_frames(os.path.join(several, f"part{(t + 2) % 3}.dcm"), part, stack.uid)
    for t in range(3):
        check_map(tool.map(several, "--volume", str(t)), stack, stack.values[..., t] > 0)


def check_scaling(tool, folder):
    """Each frame has its own slope and intercept."""
    scaled = Frames(folder, "scaled.dcm")
    expected = numpy.zeros(SHAPE)
    for k, frame in enumerate(scaled.frames):
        frame.slope, frame.intercept = 0.5 * (k + 1), k - 2.0
        expected[:, :, k] = frame.values * frame.slope + frame.intercept
    check_values(tool, scaled.write().path, expected)
    whole = Frames(folder, "whole.dcm")
    for frame in whole.frames:
        frame.intercept = -1024
    check_values(tool, whole.write().path, whole.values[..., 0] - 1024.0)
    scaled.frames[1].slope = 0
    assert "has RescaleSlope 0; expected another number" in tool.refusal(scaled.write().path)


def check_dose(tool, folder):
    """Doses have a scaling of their own, and say how far their frames lie along the normal."""
    frames = Frames(folder, "dose.dcm")
    values = frames.values[..., 0] + 3
    data = new_file(frames.path, SHAPE[0], SHAPE[1], frames.uid, pydicom.uid.RTDoseStorage)
    place = place_of(frames.affine, 0)
    data.ImagePositionPatient = numbers(place.position)
    data.ImageOrientationPatient = [f"{x:.10f}" for x in place.orientation]
    data.PixelSpacing = list(place.spacing)
    data.NumberOfFrames, data.PixelRepresentation = SHAPE[2], 0
    data.BitsAllocated, data.BitsStored, data.HighBit = 32, 32, 31
    data.DoseGridScaling = "0.00025"
    data.GridFrameOffsetVector = [2.5 * k for k in range(SHAPE[2])]
    data.PixelData = packed(data, values)
    data.save_as(frames.path, write_like_original=False)
    expected = values * 0.00025
    check_values(tool, frames.path, expected)
    check_map(tool.map(frames.path, "--above", "0.0008"), frames, expected > 0.0008)

    # Offsets that run down, as positions in the patient.
    data.GridFrameOffsetVector = [30.0 - 2.5 * k for k in range(SHAPE[2])]
    data.ImagePositionPatient = numbers(place_of(frames.affine, SHAPE[2] - 1).position)
    data.PixelData = packed(data, values[:, :, ::-1])
    data.save_as(frames.path, write_like_original=False)
    check_map(tool.map(frames.path, "--above", "0.0008"), frames, expected > 0.0008)
    data.GridFrameOffsetVector = [0, 2.5, 5, 10, 12.5]
    data.save_as(frames.path, write_like_original=False)
    assert "unevenly spaced" in tool.refusal(frames.path)
    data.GridFrameOffsetVector = [0, 2.5]
    data.save_as(frames.path, write_like_original=False)
    assert "has 2 numbers in GridFrameOffsetVector; expected 5" in tool.refusal(frames.path)


def check_segments(tool, folder):
    """Single bits, of frames that do not end with a byte; each segment is a volume."""
    frames = Frames(folder, "segments.dcm", times=2)
    bits = numpy.concatenate([(frame.values > 0).T.ravel() for frame in frames.frames])
    write_frames(frames.path, frames.frames, frames.uid)
    data = pydicom.dcmread(frames.path)
    data.SOPClassUID = data.file_meta.MediaStorageSOPClassUID = pydicom.uid.SegmentationStorage
    data.BitsAllocated, data.BitsStored, data.HighBit, data.PixelRepresentation = 1, 1, 0, 0
    stored = numpy.packbits(bits, bitorder="little").tobytes()
    data.PixelData = stored + b"\0" * (len(stored) % 2)
    data.save_as(frames.path)
    for t in range(2):
        check_map(tool.map(frames.path, "--volume", str(t)), frames, frames.values[..., t] > 0)


def check_frames_without_places(tool, folder):
    """Taken in their order, and no distance between them is made up in silence."""
    frames = Frames(folder, "cine.dcm")
    data = new_file(frames.path, SHAPE[0], SHAPE[1], frames.uid, pydicom.uid.UltrasoundMultiFrameImageStorage)
    data.NumberOfFrames = SHAPE[2]
    data.PixelData = packed(data, frames.values[..., 0])
    data.save_as(frames.path, write_like_original=False)
    warning = tool.warning(frames.path)
    assert "its frames have no positions" in warning and "has no PixelSpacing" in warning, warning
    frames.affine = numpy.diag([1.0, 1.0, 1.0, 1.0])
    check_map(tool.map(frames.path), frames, frames.values[..., 0] > 0)
    data.PixelSpacing = [0.5, 0.5]
    data.save_as(frames.path, write_like_original=False)
    tool.map(frames.path, "--units", "mm")
    refusal = tool.refusal(frames.path, "--units", "mm", "--plane", "xz")
    assert "does not say the spacing of its voxels in plane xz" in refusal, refusal


def main(path):
    with tempfile.TemporaryDirectory() as folder:
        tool = Tool(path, folder)
        check_order(tool, folder)
        check_refusals(tool, folder)
        check_times(tool, folder)
        check_scaling(tool, folder)
        check_dose(tool, folder)
        check_segments(tool, folder)
        check_frames_without_places(tool, folder)


if __name__ == "__main__":
    main(*sys.argv[1:])

"""Maps a volume of 1.5 GiB, whose map has 6 GiB, within 512 MiB: usage largerThanMemory.py LORB-DISTANCE [FOLDER].

Takes minutes, and 8 GB in FOLDER or the folder for temporary files.
"""

import json
import os
import subprocess
import sys
import tempfile

import numpy

SIDE, COUNT = 1024, 1536
LIMIT = 512 << 20


def slice_at(k):
    """A disc that grows and wanders, none in every hundredth slice."""
    y, x = numpy.ogrid[:SIDE, :SIDE]
    radius = 0 if k % 100 == 0 else 50 + k // 5
    return ((x - 400 - k // 8) ** 2 + (y - 512) ** 2 < radius * radius).astype(numpy.uint8)


def header(kind):
    return ("ObjectType = Image\nNDims = 3\nBinaryData = True\nDimSize = {0} {0} {1}\nElementType = {2}\n"
            "ElementDataFile = LOCAL\n").format(SIDE, COUNT, kind).encode()


def main(tool, parent=None):
    with tempfile.TemporaryDirectory(dir=parent) as folder:
        source, result, one, report = (os.path.join(folder, name)
                                       for name in ("in.mha", "map.mha", "one.mha", "report.json"))
        with open(source, "wb") as file:
            file.write(header("MET_UCHAR"))
            for k in range(COUNT):
                file.write(slice_at(k).tobytes())
        subprocess.run([tool, source, "-o", result, "--memory", "512M", "--json", report, "-v"], check=True)
        with open(report) as file:
            document = json.load(file)
        peak = document["memory"]["peakBytes"]
        print(f"peak {peak >> 20} MiB, {document['seconds']}")
        assert peak <= LIMIT, peak
        assert document["memory"]["slicesAtATime"] < COUNT

        # Slices here and there are those that the tool makes of them alone.
        size = os.path.getsize(result)
        voxels = 4 * SIDE * SIDE
        for k in (0, 1, 77, 100, 500, COUNT - 1):
            with open(one, "wb") as file:
                file.write(header("MET_UCHAR").replace(b" %d\n" % COUNT, b" 1\n"))
                file.write(slice_at(k).tobytes())
            alone = os.path.join(folder, "alone.nii")
            subprocess.run([tool, one, "-o", alone, "--force", "-q"], check=True, stderr=subprocess.DEVNULL)
            with open(alone, "rb") as file:
                file.seek(-voxels, os.SEEK_END)
                expected = file.read()
            with open(result, "rb") as file:
                file.seek(size - voxels * (COUNT - k))
                assert file.read(voxels) == expected, k


if __name__ == "__main__":
    main(*sys.argv[1:])

"""Input that fails or shrinks while it is read: usage readErrors.py LORB-DISTANCE FAILING-READS-LIBRARY.

The voxels of a volume become unreadable behind the header, half way, and at their end. Every run has to end
with exit code 3 and one line, and leave no map.
"""

import gzip
import os
import subprocess
import sys
import tempfile
import zlib

import numpy

SHAPE = (40, 48, 64)  # z, y, x


def volume():
    z, y, x = numpy.ogrid[:SHAPE[0], :SHAPE[1], :SHAPE[2]]
    noise = numpy.random.default_rng(5).integers(0, 50, SHAPE)
    return (((x - 30) ** 2 + (y - 20) ** 2 < 200 + z) * 100 + noise).astype("<i2")


def nifti(voxels, slope=0.0):
    header = bytearray(352)
    header[0:4] = (348).to_bytes(4, "little")
    for k, size in enumerate((3,) + voxels.shape[::-1] + (1, 1, 1, 1)):
        header[40 + 2 * k:42 + 2 * k] = size.to_bytes(2, "little")
    kind = {"int16": 4, "float32": 16}[voxels.dtype.name]
    header[70:72] = kind.to_bytes(2, "little")
    header[72:74] = (8 * voxels.itemsize).to_bytes(2, "little")
    header[76:92] = numpy.ones(4, "<f4").tobytes()
    header[108:120] = numpy.array([352, slope, 0], "<f4").tobytes()
    header[252:254] = (1).to_bytes(2, "little")
    header[344:348] = b"n+1\0"
    return bytes(header), voxels.tobytes()


def meta(voxels, data, more=""):
    head = (f"ObjectType = Image\nNDims = 3\nBinaryData = {'False' if 'text' in more else 'True'}\n"
            f"BinaryDataByteOrderMSB = False\n")
    head += f"CompressedData = True\nCompressedDataSize = {len(data)}\n" if "zlib" in more else ""
    head += "DimSize = %d %d %d\nElementType = MET_SHORT\nElementDataFile = LOCAL\n" % voxels.shape[::-1]
    return head.encode(), data


def nrrd(voxels, data, encoding):
    head = "NRRD0004\ntype: short\ndimension: 3\nsizes: %d %d %d\nendian: little\n" % voxels.shape[::-1]
    return (head + f"encoding: {encoding}\n\n").encode(), data


def vtk(voxels, data, coding):
    head = (f"# vtk DataFile Version 3.0\nvolume\n{coding}\nDATASET STRUCTURED_POINTS\n"
            "DIMENSIONS %d %d %d\nORIGIN 0 0 0\nSPACING 1 1 1\nPOINT_DATA %d\n"
            "SCALARS values short 1\nLOOKUP_TABLE default\n" % (*voxels.shape[::-1], voxels.size))
    return head.encode(), data


def vti(voxels):
    extent = "0 %d 0 %d 0 %d" % tuple(n - 1 for n in voxels.shape[::-1])
    head = (f'<VTKFile type="ImageData" version="1.0" byte_order="LittleEndian" header_type="UInt64">\n'
            f'<ImageData WholeExtent="{extent}" Origin="0 0 0" Spacing="1 1 1"><Piece Extent="{extent}">\n'
            '<PointData Scalars="v"><DataArray type="Int16" Name="v" format="appended" offset="0"/></PointData>\n'
            '</Piece></ImageData><AppendedData encoding="raw">\n_')
    data = voxels.nbytes.to_bytes(8, "little") + voxels.tobytes()
    return head.encode(), data + b"\n</AppendedData></VTKFile>\n"


def compressed_vti(tool, folder):
    path = os.path.join(folder, "phantom.vti")
    subprocess.run([tool, "--phantom", "-o", path, "-q"], check=True)
    with open(path, "rb") as file:
        content = file.read()
    os.remove(path)
    begin = content.index(b"_", content.index(b"<AppendedData")) + 1
    return content[:begin], content[begin:]


def inputs(tool, folder):
    """Names and, of each, the content in two parts: header and voxels."""
    v = volume()
    text = "\n".join(" ".join(map(str, row)) for row in v.reshape(-1, v.shape[2])).encode()
    yield "a.nii", nifti(v)
    yield "scaled.nii", nifti(v, slope=0.5)
    yield "float.nii", nifti(v.astype("<f4"))
    yield "a.nii.gz", (b"", gzip.compress(b"".join(nifti(v))))
    yield "float.nii.gz", (b"", gzip.compress(b"".join(nifti(v.astype("<f4")))))
    yield "a.mha", meta(v, v.tobytes())
    yield "zlib.mha", meta(v, zlib.compress(v.tobytes()), "zlib")
    yield "text.mha", meta(v, text, "text")
    yield "raw.nrrd", nrrd(v, v.tobytes(), "raw")
    yield "gzip.nrrd", nrrd(v, gzip.compress(v.tobytes()), "gzip")
    yield "text.nrrd", nrrd(v, text, "ascii")
    yield "binary.vtk", vtk(v, v.astype(">i2").tobytes(), "BINARY")
    yield "text.vtk", vtk(v, text, "ASCII")
    # A tool that is built without VTK knows no such files.
    if ".vti" in subprocess.run([tool, "--man"], capture_output=True, text=True, check=True).stdout:
        yield "appended.vti", vti(v)
        yield "compressed.vti", compressed_vti(tool, folder)


class Runs:
    """Runs of the tool on files that can't be read to their end."""

    def __init__(self, tool, library, folder):
        assert os.path.exists(library), library
        self.tool, self.library, self.folder = tool, library, folder
        self.target = os.path.join(folder, "map.mha")
        self.failures = 0

    def run(self, source, options=(), **environment):
        sanitizer = "detect_leaks=0:verify_asan_link_order=0"
        return subprocess.run([self.tool, source, "-o", self.target, "--above", "60", *options], text=True,
                              capture_output=True, env={**os.environ, "ASAN_OPTIONS": sanitizer, **environment})

    def check(self, fine, told):
        if not fine:
            self.failures += 1
            print("FAILED:", told)

    def require_failure(self, source, how, at, options=()):
        before = set(os.listdir(self.folder))
        result = self.run(source, options, LD_PRELOAD=self.library, READ_FAILS_IN=source,
                          READ_FAILS_FROM=str(at), READ_FAILS_BY=how)
        made = set(os.listdir(self.folder)) - before
        fine = result.returncode == 3 and result.stderr.count("\n") == 1 and source in result.stderr
        self.check(fine and not made, f"{os.path.basename(source)}, {how} at {at}: exit code {result.returncode}, "
                                      f"{result.stderr!r}, made {made}")
        for name in made:
            os.remove(os.path.join(self.folder, name))

    def try_input(self, name, header, voxels):
        source = os.path.join(self.folder, name)
        start = max(len(header), 400 if name.endswith(".gz") else 0)
        rest = len(header) + len(voxels) - start
        places = [(how, at) for how in ("error", "cut") for at in (start, start + rest // 2, start + rest - 100)]
        for how, at in places:
            with open(source, "wb") as file:
                file.write(header + voxels)
            self.require_failure(source, how, at)
        with open(source, "wb") as file:
            file.write(header + voxels)
        result = self.run(source)
        self.check(result.returncode == 0, f"{name} in one piece: {result.stderr}")
        os.remove(self.target)
        os.remove(source)

    def try_slabs(self, shape=(8000, 48, 64)):
        """A volume that is larger than the memory to be used."""
        header, _ = nifti(numpy.zeros(shape, "<i2"))
        source = os.path.join(self.folder, "tall.nii")
        content = header + numpy.tile(volume(), (shape[0] // SHAPE[0], 1, 1)).tobytes()
        for how in ("error", "cut"):
            with open(source, "wb") as file:
                file.write(content)
            self.require_failure(source, how, len(content) // 3 * 2, ["--memory", "120M"])


def main(tool, library):
    with tempfile.TemporaryDirectory() as folder:
        runs = Runs(tool, library, os.path.realpath(folder))
        for name, (header, voxels) in inputs(tool, folder):
            runs.try_input(name, header, voxels)
        runs.try_slabs()
        return 1 if runs.failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))

"""Compressed maps, as other readers find them: usage compressedMaps.py LORB-DISTANCE.

Every level has to give one gzip or zlib stream, for readers that stop after the first, of the voxels of an
uncompressed map.
"""

import ctypes
import ctypes.util
import gzip
import os
import subprocess
import sys
import tempfile
import zlib

import nibabel
import numpy


def by_gzread(path, size):
    """As programs read that use zlib's files, such as those with the reference library of NIfTI."""
    library = ctypes.CDLL(ctypes.util.find_library("z"))
    library.gzopen.restype = ctypes.c_void_p
    file = ctypes.c_void_p(library.gzopen(path.encode(), b"rb"))
    content = ctypes.create_string_buffer(size + 1)
    got = library.gzread(file, content, size + 1)
    assert library.gzclose(file) == 0
    return content.raw[:max(got, 0)]


def in_one_stream(data, window):
    stream = zlib.decompressobj(window)
    content = stream.decompress(data)
    assert stream.eof and not stream.unused_data
    return content


def main(tool):
    with tempfile.TemporaryDirectory() as folder:
        def made(name, *options):
            path = os.path.join(folder, name)
            subprocess.run([tool, "--phantom", "-o", path, "-q", "--force", *options], check=True)
            return path

        def content_of(path):
            with open(path, "rb") as file:
                return file.read()

        plain = content_of(made("plain.nii"))
        voxels = plain[352:]
        expected = nibabel.load(os.path.join(folder, "plain.nii")).get_fdata()
        assert expected.min() < 0 < expected.max()
        sizes = []
        for level in range(10):
            option = ("--compression", str(level))
            path = made("a.nii.gz", *option)
            data = content_of(path)
            sizes.append(len(data))
            assert in_one_stream(data, 31) == plain, level
            assert gzip.decompress(data) == plain, level
            assert by_gzread(path, len(plain)) == plain, level
            subprocess.run(["gzip", "-t", path], check=True)
            assert numpy.array_equal(nibabel.load(path).get_fdata(), expected), level

            head, _, data = content_of(made("a.mha", *option)).partition(b"ElementDataFile = LOCAL\n")
            if level > 0:
                size = int(head.partition(b"CompressedDataSize = ")[2].split()[0])
                assert size == len(data), (size, len(data))
                data = in_one_stream(data, 15)
            assert data == voxels, level

            head, _, data = content_of(made("a.nrrd", *option)).partition(b"\n\n")
            assert (b"encoding: gzip" in head) == (level > 0), head
            assert (in_one_stream(data, 31) if level > 0 else data) == voxels, level
        assert sizes[0] > len(plain) and sizes[1] < len(plain) / 2 and sizes[9] < sizes[1], sizes
        default = len(content_of(made("a.nii.gz")))
        assert default == sizes[4], (default, sizes)


if __name__ == "__main__":
    main(*sys.argv[1:])

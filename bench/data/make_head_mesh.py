#!/usr/bin/env python3
"""Writes a mesh of more than a million triangles: an isosurface of the head that Debian's mricron-data ships.

    make_head_mesh.py [OUTPUT.ply] [--level L] [--volume FILE.nii.gz]

The default output is build/data/head.ply (binary, little endian: float x y z per vertex, uchar 3 and three int per face).
Nothing is done when the file is there already. Needs python3-skimage.
"""

import argparse
import gzip
import os
import struct
from pathlib import Path

import numpy as np
from skimage.measure import marching_cubes

NIFTI_TYPES = {2: np.uint8, 4: np.int16, 8: np.int32, 16: np.float32, 512: np.uint16}


def read_nifti(path):
    """The samples, z slowest, and the voxel size in millimetres."""
    data = gzip.open(path).read()
    if struct.unpack_from("<i", data, 0)[0] != 348:
        raise SystemExit(f"{path}: not a little-endian NIfTI-1 file")
    extent = struct.unpack_from("<8h", data, 40)
    sample_type = NIFTI_TYPES[struct.unpack_from("<h", data, 70)[0]]
    voxel = struct.unpack_from("<8f", data, 76)
    offset = int(struct.unpack_from("<f", data, 108)[0])
    nx, ny, nz = extent[1:4]
    samples = np.frombuffer(data, sample_type, nx * ny * nz, offset)
    return samples.reshape(nz, ny, nx), voxel[1:4]


def write_ply(path, vertices, faces):
    header = (
        "ply\nformat binary_little_endian 1.0\n"
        f"element vertex {len(vertices)}\nproperty float x\nproperty float y\nproperty float z\n"
        f"element face {len(faces)}\nproperty list uchar int vertex_indices\nend_header\n"
    )
    records = np.empty(len(faces), dtype=[("count", "u1"), ("corners", "<i4", 3)])
    records["count"] = 3
    records["corners"] = faces
    path.parent.mkdir(parents=True, exist_ok=True)
    unfinished = path.with_name(f"{path.name}.{os.getpid()}")
    with open(unfinished, "wb") as out:
        out.write(header.encode())
        out.write(vertices.astype("<f4").tobytes())
        out.write(records.tobytes())
    unfinished.rename(path)


def main():
    root = Path(__file__).resolve().parents[2]
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("output", nargs="?", type=Path, default=root / "build" / "data" / "head.ply")
    parser.add_argument("--level", type=float, default=40.0, help="sample value of the surface")
    parser.add_argument("--volume", default="/usr/share/mricron/templates/ch2.nii.gz")
    options = parser.parse_args()
    if options.output.exists():
        return
    samples, voxel = read_nifti(options.volume)
    vertices, faces, _, _ = marching_cubes(samples.astype(np.float32), options.level, spacing=voxel[::-1])
    write_ply(options.output, vertices[:, ::-1], faces)
    print(f"{options.output}: {len(vertices)} vertices, {len(faces)} triangles")


if __name__ == "__main__":
    main()

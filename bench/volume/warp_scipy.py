"""Rotates volumes by SciPy on request. The first line of the input is "read DIRECTORY DEPTH HEIGHT WIDTH", with what it reads in
that directory. The others are "FUNCTION ELEMENT ORDER", answered by the seconds that the call took and a 0, or "save", which keeps
the last result as floats."""
import sys
import time

import numpy
from scipy import ndimage

print(0, 0, flush=True)
_, directory, *shape = sys.stdin.readline().split()
shape = tuple(map(int, shape))


def read(name, dtype):
    return numpy.fromfile(f"{directory}/{name}", dtype=dtype)


sources = [read(f"source{k}", dtype).reshape(shape) for k, dtype in enumerate(("uint8", "uint16", "float32"))]
coordinates = numpy.stack([read(f"map{axis}", "float32").reshape(shape) for axis in (2, 1, 0)])
inverse = read("inverse", "float64").reshape(3, 4)[::-1, [2, 1, 0, 3]]
print(0, 0, flush=True)
for line in sys.stdin:
    function, *numbers = line.split()
    if function == "save":
        result.astype("float32").tofile(f"{directory}/result")
        print(0, 0, flush=True)
        continue
    source, order = sources[int(numbers[0])], int(numbers[1])
    start = time.perf_counter()
    if function == "map_coordinates":
        result = ndimage.map_coordinates(source, coordinates, order=order, prefilter=False)
    else:
        result = ndimage.affine_transform(source, inverse[:, :3], inverse[:, 3], order=order, prefilter=False)
    print(time.perf_counter() - start, 0, flush=True)

"""Times SciPy on a rotation: FUNCTION PATH DTYPE DEPTH HEIGHT WIDTH ORDER and the 12 numbers of the matrix from source to
destination, which is a rotation and a shift. Prints the seconds of the fastest run."""
import sys
import time

import numpy
from scipy import ndimage

function, path, dtype = sys.argv[1:4]
shape = tuple(map(int, sys.argv[4:7]))
order = int(sys.argv[7])
forward = numpy.array(list(map(float, sys.argv[8:20]))).reshape(3, 4)[::-1, [2, 1, 0, 3]]
inverse = forward[:, :3].T
offset = -inverse @ forward[:, 3]
volume = numpy.fromfile(path, dtype=dtype).reshape(shape)
seconds = []
if function == "map_coordinates":
    grid = numpy.indices(shape, dtype=numpy.float32).reshape(3, -1)
    coordinates = (inverse.astype(numpy.float32) @ grid + offset[:, None].astype(numpy.float32)).reshape(3, *shape)
for _ in range(2 if order <= 1 else 1):
    start = time.perf_counter()
    if function == "map_coordinates":
        ndimage.map_coordinates(volume, coordinates, order=order, prefilter=False)
    else:
        ndimage.affine_transform(volume, inverse, offset, order=order, prefilter=False)
    seconds.append(time.perf_counter() - start)
print(min(seconds))

"""Times SciPy's zoom on a raw volume: PATH DTYPE DEPTH HEIGHT WIDTH SCALE ORDER. Prints the seconds of the fastest run."""
import sys
import time

import numpy
from scipy import ndimage

path, dtype = sys.argv[1:3]
depth, height, width = map(int, sys.argv[3:6])
scale, order = float(sys.argv[6]), int(sys.argv[7])
volume = numpy.fromfile(path, dtype=dtype).reshape(depth, height, width)
seconds = []
for _ in range(2 if order <= 1 else 1):
    start = time.perf_counter()
    ndimage.zoom(volume, scale, order=order, mode="nearest", prefilter=False, grid_mode=True)
    seconds.append(time.perf_counter() - start)
print(min(seconds))

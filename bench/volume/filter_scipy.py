"""Times SciPy's convolve on a raw 16-bit volume: PATH DEPTH HEIGHT WIDTH SIDE. Prints the seconds of the fastest run."""
import sys
import time

import numpy
from scipy import ndimage

path = sys.argv[1]
depth, height, width, side = map(int, sys.argv[2:6])
volume = numpy.fromfile(path, dtype="int16").reshape(depth, height, width)[: 64 if side > 3 else depth]
kernel = (numpy.arange(side**3) * 7919 % 17).reshape(side, side, side)
seconds = []
for _ in range(2 if side == 3 else 1):
    start = time.perf_counter()
    ndimage.convolve(volume, kernel, output="int16", mode="nearest")
    seconds.append(time.perf_counter() - start)
print(min(seconds) * depth / volume.shape[0])

"""SciPy's zoom and convolve on raw volumes, on request. Each line of the input is "zoom PATH DTYPE DEPTH HEIGHT WIDTH SCALE ORDER"
or "convolve PATH DTYPE DEPTH HEIGHT WIDTH SIDE", answered by the seconds that the call took and the MiB that it needed."""
import ctypes
import functools
import sys
import time

import numpy
from scipy import ndimage


@functools.lru_cache(maxsize=2)
def volume(path, dtype, *shape):
    shape = [int(n) for n in shape]
    return numpy.fromfile(path, dtype=dtype, count=numpy.prod(shape)).reshape(shape)


def mebibytes(key):
    with open("/proc/self/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith(key)) / 1024


print(0, 0, flush=True)
for line in sys.stdin:
    function, *rest = line.split()
    source = volume(*rest[:5])
    if function == "zoom":
        scale, order = float(rest[5]), int(rest[6])
        call = functools.partial(
            ndimage.zoom, source, scale, order=order, mode="nearest", prefilter=False, grid_mode=True
        )
    else:
        side = int(rest[5])
        kernel = (numpy.arange(side**3) * 7919 % 17).reshape(side, side, side)
        call = functools.partial(ndimage.convolve, source, kernel, output="int16", mode="nearest")
    ctypes.CDLL(None).malloc_trim(0)
    before = mebibytes("VmRSS")
    with open("/proc/self/clear_refs", "w", encoding="ascii") as peak:
        peak.write("5")
    start = time.perf_counter()
    result = call()
    seconds = time.perf_counter() - start
    print(seconds, mebibytes("VmHWM") - before, flush=True)
    del result

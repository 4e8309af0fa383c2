#!/usr/bin/python3
"""A folder of raw dumps to a Zarr array, on a cluster, and a sheet of some of its frames.

    to_zarr.py SCHEDULER FOLDER WIDTH HEIGHT FORMAT OUT.zarr SHEET.png
    to_zarr.py tcp://127.0.0.1:8786 captures/ 1920 1080 BayerRG12Packed all.zarr sheet.png

Stopped or killed, and started again, it makes only the chunks that are not there. start.sh starts
a small cluster on this machine.
"""

import sys

import dask.array
import imgcnv.dask
import numpy as np
from distributed import Client
from PIL import Image

ROWS, COLUMNS = 4, 6

if __name__ == "__main__":
    if len(sys.argv) != 8:
        sys.exit(__doc__)
    scheduler, folder, width, height, format, store, sheet = sys.argv[1:]
    found = imgcnv.dask.index(folder, int(width), int(height), format)
    print(found)
    with Client(scheduler) as client:
        array = imgcnv.dask.open_frames(found, int(width), int(height), format)
        report = imgcnv.dask.to_zarr(array, store)
        print(f"{report.made} chunks made, {report.kept} were there, {len(report.failed)} failed")
        for failure in report.failed:
            print(failure, file=sys.stderr)
        # Frames evenly over the archive, every fourth pixel of them: little comes over the network.
        numbers = np.linspace(0, len(array) - 1, ROWS * COLUMNS).astype(int)
        pictures = dask.array.from_zarr(store)[numbers, ::4, ::4].compute()
    rows = [np.hstack(pictures[row * COLUMNS : (row + 1) * COLUMNS]) for row in range(ROWS)]
    Image.fromarray(np.vstack(rows)).save(sheet)
    sys.exit(1 if report.failed else 0)

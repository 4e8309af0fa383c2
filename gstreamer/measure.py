#!/usr/bin/env python3
"""CPU time per frame of imgcnv and bayer2rgb, that of the source subtracted, as a Markdown table.

GST_PLUGIN_PATH must name the folder of libgstimgcnv.so. The three pipelines take turns, so that other
work on the machine meets them alike; the fastest of each counts."""
import os
import resource
import subprocess
import tempfile

ROUNDS = 3
SIZES = [(1920, 1080, 150), (4096, 3000, 25)]
PIPELINES = {
    "": "",
    "`bayer2rgb`": "! bayer2rgb",
    "`imgcnv demosaic=nearest`": "! imgcnv demosaic=nearest",
    "`imgcnv`": "! imgcnv",
    "`imgcnv demosaic=adaptive`": "! imgcnv demosaic=adaptive",
}


def cpu_ms(pipeline, frames):
    """Of one run, per frame."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(f"gst-launch-1.0 -q {pipeline}", shell=True, check=True,
                   stdout=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime) * 1000 / frames


def measure(width, height, frames):
    best = {}
    with tempfile.NamedTemporaryFile(suffix=".raw") as dump:
        dump.write(os.urandom(width * height))
        dump.flush()
        source = (f"multifilesrc location={dump.name} num-buffers={frames} loop=true "
                  f"caps=video/x-bayer,format=rggb,width={width},height={height},framerate=25/1")
        for _ in range(ROUNDS):
            for name, converter in PIPELINES.items():
                end = f"{converter} ! video/x-raw,format=RGBx" if converter else ""
                took = cpu_ms(f"{source} {end} ! fakesink sync=false", frames)
                best[name] = min(took, best.get(name, took))
    return {name: took - best[""] for name, took in best.items() if name}


results = [measure(*size) for size in SIZES]
print("| To RGBx | " + " | ".join(f"{w}x{h}: ms | ratio" for w, h, _ in SIZES) + " |")
print("|---" * (1 + 2 * len(SIZES)) + "|")
for name in results[0]:
    cells = [f"{result[name]:.2f} | {result[name] / result['`bayer2rgb`']:.2f}" for result in results]
    print(f"| {name} | " + " | ".join(cells) + " |")

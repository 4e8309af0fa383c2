"""Archives of raw frames as Dask arrays: converted lazily, on one machine or a cluster.

    array = imgcnv.dask.open_frames("s3://bucket/captures/*.raw", 1920, 1080, "BayerRG12Packed")
    imgcnv.dask.to_zarr(array, "s3://bucket/pictures.zarr")      # again after a crash: goes on

Needs dask, fsspec, and numcodecs for Zarr or Pillow for pictures (Debian: python3-dask,
python3-fsspec, python3-zarr, python3-pil; for a cluster python3-distributed).
"""

from __future__ import annotations

import hashlib
import io
import itertools
import json
import os
import pathlib
import threading
import uuid
import warnings
from typing import Any, Dict, Iterable, Iterator, List, Mapping, NamedTuple, Optional, Tuple, Union

import dask.array
import dask.base
import fsspec
import numpy as np
from dask.highlevelgraph import HighLevelGraph
from fsspec.implementations.local import LocalFileSystem

from . import _native
from ._converter import Converter
from ._formats import FormatLike, index as whole_number

__all__ = ["File", "Index", "Report", "index", "open_frames", "to_pictures", "to_zarr"]

Urls = Union[str, "os.PathLike[str]", Iterable[Union[str, "os.PathLike[str]"]]]
Piece = Tuple[str, int, int]  # url, first frame, frames


class File(NamedTuple):
    """A file of an archive."""

    url: str
    bytes: int
    #: Whole frames in it.
    frames: int
    #: Empty, or why its length is not that of whole frames.
    problem: str


class Index(NamedTuple):
    """What `index` found."""

    files: Tuple[File, ...]
    #: Files whose length is not that of whole frames: cut short, or of another kind.
    broken: Tuple[File, ...]

    @property
    def frames(self) -> int:
        """Whole frames in all files that are not broken."""
        return sum(file.frames for file in self.files)

    def __str__(self) -> str:
        total = sum(file.bytes for file in self.files)
        lines = [f"{self.frames} frames in {len(self.files)} files, {total} bytes"]
        lines += [f"left out: {file.url}: {file.problem}" for file in self.broken]
        return "\n".join(lines)


class Report(NamedTuple):
    """What `to_zarr` or `to_pictures` did."""

    #: Chunks or pictures that were made, and that were there already.
    made: int
    kept: int
    #: What could not be made, and why.
    failed: Tuple[str, ...]


class _Recipe(NamedTuple):
    """How frames are read: with paths and offsets, all that a task holds."""

    token: str
    arguments: Dict[str, Any]
    skip: int
    step: int  # bytes from frame to frame
    frame_bytes: int
    options: Dict[str, Any]


def index(
    urls: Urls,
    width: int,
    height: int,
    format: FormatLike,
    *,
    skip: int = 0,
    gap: int = 0,
    best_effort: bool = False,
    storage_options: Optional[Mapping[str, Any]] = None,
    **frame: Any,
) -> Index:
    """Find the files of an archive, how many frames each has, and which are broken.

    `urls` are files, folders, of which every file below is taken, or patterns such as
    ``"captures/**/*.raw"``, in any scheme of fsspec. `skip` are bytes before a file's first frame,
    `gap` those after each; other arguments about the frame, such as `padding`, are those of
    `Converter`. With `best_effort`, the whole frames at the beginning of a broken file are taken.
    """
    with Converter(width, height, format, **frame) as converter:
        described = _described(converter, skip, gap)
    return _index(described, urls, best_effort, dict(storage_options or {}))


def _described(converter: Converter, skip: int, gap: int) -> _native.Record:
    frame = converter._frame
    frame.skip, frame.gap = whole_number("skip", skip), whole_number("gap", gap)
    return frame


def _index(
    described: _native.Record, urls: Urls, best_effort: bool, options: Dict[str, Any]
) -> Index:
    found = [_measured(described, url, size) for url, size in _list(urls, options)]
    good = (file for file in found if not file.problem or (best_effort and file.frames))
    return Index(tuple(good), tuple(file for file in found if file.problem))


def _measured(described: _native.Record, url: str, size: int) -> File:
    fit = _native.FileFit()
    problem = _native.call(_native.file_measure, described, size, fit)
    return File(url, size, int(fit.frames), problem)


def _list(urls: Urls, options: Dict[str, Any]) -> Iterator[Tuple[str, int]]:
    """Files and their lengths, in the order of their names for each url."""
    for url in [urls] if isinstance(urls, (str, os.PathLike)) else urls:
        filesystem, path = fsspec.core.url_to_fs(os.fspath(url), **options)
        if any(letter in path for letter in "*?["):
            found = filesystem.glob(path, detail=True)
        elif filesystem.isdir(path):
            found = filesystem.find(path, detail=True)
        else:
            found = {path: filesystem.info(path)}
        for name, info in sorted(found.items()):
            if info["type"] == "file":
                yield filesystem.unstrip_protocol(name), int(info["size"])


def open_frames(
    urls: Union[Urls, Index],
    width: int,
    height: int,
    format: FormatLike,
    *,
    to: str = "rgb24",
    demosaic: str = "bilinear",
    padding: int = 0,
    stride: int = 0,
    skip: int = 0,
    gap: int = 0,
    chunk_bytes: int = 64 << 20,
    best_effort: bool = False,
    storage_options: Optional[Mapping[str, Any]] = None,
    **more: Any,
) -> dask.array.Array:
    """All frames of an archive as a Dask array (frames, height, width) or (.., channels).

    Nothing is read before the array is computed. A chunk are as many frames as give pictures of
    `chunk_bytes`; each file that it takes frames of is read once for it, only as far as needed.
    `more` are other arguments of `Converter`, such as `levels` or `rotate`; the rest is as in
    `index`, whose result may be given instead of urls. Files that are broken are left out, with a
    warning that says why.
    """
    options = dict(storage_options or {})
    arguments = dict(more, width=width, height=height, format=format, to=to, demosaic=demosaic)
    arguments.update(padding=padding, stride=stride, threads=1)
    with Converter(**arguments) as converter:
        described = _described(converter, skip, gap)
        shape, dtype, frame_bytes = converter.shape, converter.dtype, converter.frame_bytes
        arguments["format"] = int(converter.format)
        arguments["big_endian"] = bool(converter._frame.flags & _native.BIG_ENDIAN) or None
        arguments["video_range"] = bool(converter._frame.flags & _native.VIDEO_RANGE) or None
    if not frame_bytes:
        raise ValueError("Mono1C lists have no fixed length: an archive of them has no index")
    if isinstance(urls, Index):
        found = urls
        for file in found.files:
            if _measured(described, file.url, file.bytes) != file:
                raise ValueError(
                    f"{file.url} has {file.frames} frames in the index, but not as described here: "
                    "pass the same width, height, format, skip, gap and padding as to index()"
                )
    else:
        found = _index(described, urls, best_effort, options)
    for file in found.broken:
        warnings.warn(f"{file.url} is left out: {file.problem}", stacklevel=2)
    if not found.frames:
        raise ValueError(f"there are no frames: {found}")
    step = frame_bytes + gap
    token = _token(arguments, skip, gap, [(file.url, file.frames) for file in found.files])
    recipe = _Recipe(token, arguments, skip, step, frame_bytes, options)
    per_chunk = max(1, int(chunk_bytes) // (int(np.prod(shape)) * dtype.itemsize))
    name, rest = f"imgcnv-frames-{token}-{per_chunk}", (0,) * len(shape)
    graph = {
        (name, number, *rest): (_load, recipe, pieces)
        for number, pieces in enumerate(_chunks(found.files, per_chunk))
    }
    whole, left = divmod(found.frames, per_chunk)
    chunks = ((per_chunk,) * whole + ((left,) if left else ()), *((size,) for size in shape))
    return dask.array.Array(
        HighLevelGraph.from_collections(name, graph), name, chunks, dtype=dtype
    )


def _token(*parts: Any) -> str:
    """The same for the same archive and parameters, on every machine."""
    text = json.dumps(parts, sort_keys=True, default=lambda number: number.tolist())
    return hashlib.sha256(text.encode()).hexdigest()[:32]


def _chunks(files: Iterable[File], per_chunk: int) -> Iterator[List[Piece]]:
    """The frames of all files, `per_chunk` at a time."""
    chunk: List[Piece] = []
    free = per_chunk
    for file in files:
        first = 0
        while first < file.frames:
            count = min(free, file.frames - first)
            chunk.append((file.url, first, count))
            first, free = first + count, free - count
            if not free:
                yield chunk
                chunk, free = [], per_chunk
    if chunk:
        yield chunk


_mine = threading.local()


def _converter_of(recipe: _Recipe) -> Converter:
    """This thread's Converter, which it keeps for the next chunk."""
    if getattr(_mine, "token", None) != recipe.token:
        _mine.converter = Converter(**recipe.arguments)
        _mine.token = recipe.token
    converter: Converter = _mine.converter
    return converter


def _load(recipe: _Recipe, pieces: List[Piece]) -> "np.ndarray[Any, Any]":
    """A chunk: one ranged read for each file."""
    converter = _converter_of(recipe)
    count = sum(piece[2] for piece in pieces)
    pictures = np.empty((count, *converter.shape), converter.dtype)
    number = 0
    for url, first, frames in pieces:
        filesystem, path = fsspec.core.url_to_fs(url, **recipe.options)
        begin = recipe.skip + first * recipe.step
        # The last frame may lack its padding.
        end = begin + (frames - 1) * recipe.step + recipe.frame_bytes
        data = memoryview(filesystem.cat_file(path, begin, end))
        for frame in range(frames):
            at = frame * recipe.step
            part = data[at : at + recipe.frame_bytes]
            try:
                converter.convert(part, pictures[number])
            except ValueError as error:
                raise ValueError(
                    f"{url}, frame {first + frame}: {error}\n"
                    "the file has become shorter since it was indexed"
                ) from None
            number += 1
    return pictures


def to_zarr(
    array: dask.array.Array,
    url: Union[str, "os.PathLike[str]"],
    *,
    resume: bool = True,
    storage_options: Optional[Mapping[str, Any]] = None,
    compressor: Any = "blosc",
) -> Report:
    """Write an array to a Zarr array at `url`; with `resume`, only the chunks that are not there.

    Chunks are written whole or not at all, by the workers of the current Dask client or the
    scheduler in force, and a chunk that fails does not stop the others. A store that was made of
    other frames or with other parameters is refused. `compressor` is a codec of numcodecs, or the
    name of one, or None; a store that is gone on with keeps its own. The store has format 2 of
    Zarr, which every version of zarr reads.
    """
    import numcodecs

    for sizes in array.chunks:
        if len(set(sizes[:-1])) > 1 or not 0 < sizes[-1] <= sizes[0]:
            raise ValueError(
                f"array has chunks of sizes {sizes}, expected equal ones of which the last may be "
                "smaller: call rechunk() first"
            )
    if array.dtype.kind not in "biuf":
        raise ValueError(f"array has dtype {array.dtype}, expected numbers or truth values")
    filesystem, root = fsspec.core.url_to_fs(os.fspath(url), **dict(storage_options or {}))
    present = _present(filesystem, root)
    identity = {"source": array.name, "shape": list(array.shape), "dtype": str(array.dtype)}
    # Of what the store was made is written first: where anything is, that is there, too.
    if present:
        known = f"{root}/.zattrs" in present
        there = json.loads(filesystem.cat_file(f"{root}/.zattrs")).get("imgcnv") if known else None
        if there != identity:
            raise ValueError(
                f"{url} holds other frames, or pictures made with other parameters: expected "
                f"{identity}, found {there}; write to another url, or remove it"
            )
        if not resume:
            raise ValueError(f"{url} is there already: pass resume=True, or write to another url")
    else:
        _put(filesystem, f"{root}/.zattrs", json.dumps({"imgcnv": identity}).encode())
    if f"{root}/.zarray" not in present:
        codec = compressor
        if isinstance(compressor, str):
            codec = numcodecs.get_codec({"id": compressor})
        description = {
            "zarr_format": 2,
            "shape": array.shape,
            "chunks": array.chunksize,
            "dtype": array.dtype.str,
            "compressor": codec and codec.get_config(),
            "fill_value": array.dtype.type(0).item(),
            "order": "C",
            "filters": None,
        }
        _put(filesystem, f"{root}/.zarray", json.dumps(description).encode())
    config = json.loads(filesystem.cat_file(f"{root}/.zarray"))["compressor"]
    blocks = list(itertools.product(*map(range, array.numblocks)))
    names = {block: f"{root}/{'.'.join(map(str, block)) or 0}" for block in blocks}
    wanted = {
        block: _ZarrChunk(filesystem, name, array.chunksize, config)
        for block, name in names.items()
        if name not in present
    }
    failed = _write(array, wanted)
    return Report(len(wanted) - len(failed), len(blocks) - len(wanted), tuple(failed.values()))


class _ZarrChunk(NamedTuple):
    filesystem: Any
    name: str
    shape: Tuple[int, ...]
    compressor: Optional[Dict[str, Any]]

    def write(self, chunk: "np.ndarray[Any, Any]") -> None:
        """Black chunks are written like all others: one that were left out would look undone."""
        import numcodecs

        if chunk.shape != self.shape:  # at an end of the array; chunks in the store have one size
            whole = np.zeros(self.shape, chunk.dtype)
            whole[tuple(map(slice, chunk.shape))] = chunk
            chunk = whole  # and the part of it is free again
        data: Any = np.ascontiguousarray(chunk)
        if self.compressor:
            data = numcodecs.get_codec(self.compressor).encode(data)
        _put(self.filesystem, self.name, data)


def _present(filesystem: Any, folder: str) -> "set[str]":
    """Files below a folder, but not those that a killed program did not finish."""
    filesystem.invalidate_cache()  # workers have written what this process does not know of
    return {name for name in filesystem.find(folder) if not name.endswith(_UNFINISHED)}


_UNFINISHED = ".part"


def _put(filesystem: Any, name: str, data: Any) -> None:
    """A file that appears whole: by renaming in folders, by upload elsewhere."""
    filesystem.makedirs(os.path.dirname(name), exist_ok=True)
    if not isinstance(filesystem, LocalFileSystem):
        filesystem.pipe_file(name, bytes(data))
        return
    unfinished = pathlib.Path(f"{name}.{uuid.uuid4().hex}{_UNFINISHED}")
    try:
        unfinished.write_bytes(data)
        unfinished.replace(name)
    finally:
        unfinished.unlink(missing_ok=True)


def to_pictures(
    array: dask.array.Array,
    url_template: str,
    *,
    resume: bool = True,
    storage_options: Optional[Mapping[str, Any]] = None,
    **picture_options: Any,
) -> Report:
    """Write each frame as a picture, such as ``"out/{:06d}.png"``, to which its number is given.

    The ending says the kind, one of Pillow's that has the array's pixels. With `resume`, pictures
    that are there are not made again, whatever they are of; without, they are made anew. Files
    appear whole. `picture_options`, such as `quality`, are those of Pillow's ``Image.save``.
    """
    if array.dtype != np.uint8 and not (array.dtype == np.uint16 and array.ndim == 3):
        raise ValueError("pictures have 8 bits, or 16 of one channel: pass to='rgb24' or 'mono8'")
    if url_template.format(0) == url_template.format(1):
        raise ValueError(f"url_template is {url_template!r}, expected a place in it such as {{:06d}}")
    array = array.rechunk({axis: -1 for axis in range(1, array.ndim)})
    filesystem, path = fsspec.core.url_to_fs(url_template, **dict(storage_options or {}))
    present = _present(filesystem, os.path.dirname(path.partition("{")[0])) if resume else set()
    wanted: Dict[Tuple[int, ...], _Pictures] = {}
    made = number = 0
    for block, frames in enumerate(array.chunks[0]):
        names = [path.format(number + frame) for frame in range(frames)]
        missing = {frame: name for frame, name in enumerate(names) if name not in present}
        if missing:
            key = (block, *(0,) * (array.ndim - 1))
            wanted[key] = _Pictures(filesystem, missing, picture_options)
        made += len(missing)
        number += frames
    failed = _write(array, wanted)
    lost = sum(len(wanted[block].names) for block in failed)
    return Report(made - lost, number - made, tuple(failed.values()))


class _Pictures(NamedTuple):
    filesystem: Any
    names: Dict[int, str]  # of those frames of a chunk that are wanted
    options: Dict[str, Any]

    def write(self, chunk: "np.ndarray[Any, Any]") -> None:
        from PIL import Image

        for frame, name in self.names.items():
            kind = Image.registered_extensions().get(os.path.splitext(name)[1].lower())
            if kind is None:
                raise ValueError(f"{name}: there is no kind of picture with this ending")
            encoded = io.BytesIO()
            Image.fromarray(chunk[frame]).save(encoded, format=kind, **self.options)
            _put(self.filesystem, name, encoded.getvalue())


def _write(array: dask.array.Array, wanted: Mapping[Tuple[int, ...], Any]) -> "dict[Any, str]":
    """wanted[block].write(chunk) for each block wanted; why some failed.

    Frames are loaded and written by one task, so that one file that cannot be read does not stop
    the others. Blocks of arrays that something else was done to come from tasks of their own.
    """
    if not wanted:
        return {}
    source = array.__dask_graph__()
    graph, blocks = {}, {}
    name = f"imgcnv-write-{uuid.uuid4().hex}"
    for number, (block, writer) in enumerate(wanted.items()):
        key = (array.name, *block)
        task = source[key]
        is_load = isinstance(task, tuple) and task[0] is _load
        load = (_Load(*task[1:]),) if is_load else (None, key)
        graph[name, number] = (_attempt, writer, *load)
        blocks[name, number] = block
    whole = HighLevelGraph.from_collections(name, graph, dependencies=[array])
    keys = list(graph)
    said = dask.base.compute_as_if_collection(dask.array.Array, whole, keys)
    return {blocks[key]: text for key, text in zip(keys, said) if text}


class _Load(NamedTuple):
    recipe: _Recipe
    pieces: List[Piece]


def _attempt(writer: Any, load: Optional[_Load], chunk: Any = None) -> str:
    """What went wrong, or an empty text."""
    try:
        writer.write(_load(*load) if load else chunk)
    except (OSError, ValueError) as error:
        return str(error)
    return ""

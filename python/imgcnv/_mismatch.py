"""Why a frame has not the length that it should have."""

from __future__ import annotations

from typing import List

from ._formats import formats
from ._frame import Frame


def size_mismatch(frame: Frame, given: int) -> str:
    """What was expected and given, and the likeliest causes."""
    expected = frame.format.frame_bytes(frame.width, frame.height, frame.padding)
    padding = f" with {frame.padding} bytes of padding a row" if frame.padding else ""
    message = (
        f"frame has {given} bytes, expected {expected} for {frame.width}x{frame.height} "
        f"{frame.format.label}{padding}"
    )
    causes = _other_paddings(frame, given) + _other_formats(frame, given)
    if given > expected and given % expected == 0:
        causes.append(f"it holds {given // expected} frames")
    if causes:
        return f"{message}. The length fits if {', or if '.join(causes)}"
    if given < expected:
        return f"{message}: {expected - given} are missing"
    return (
        f"{message}: {given - expected} are too many; if they are data behind the picture, pass "
        f"frame[:{expected}]"
    )


def _other_paddings(frame: Frame, given: int) -> List[str]:
    if frame.format.packing in ("bits", "nibbles"):
        return []
    padding, rest = divmod(given - frame.format.row_bytes(frame.width) * frame.height, frame.height)
    plausible = 0 <= padding < 4096 and rest == 0
    return [f"padding is {padding}"] if plausible else []


def _other_formats(frame: Frame, given: int) -> List[str]:
    """Formats of the same kind whose unpadded frames have the given length."""
    same_kind = [
        format.label
        for format in formats()
        if format.packing != "points"
        and (format.is_bayer, format.order if format.is_bayer else None, format.value >> 24)
        == (
            frame.format.is_bayer,
            frame.format.order if frame.format.is_bayer else None,
            frame.format.value >> 24,
        )
        and format.frame_bytes(frame.width, frame.height) == given
    ]
    return [f"the format is {' or '.join(same_kind)}"] if same_kind else []

"""Flips and rotations of every size and depth."""

from __future__ import annotations

import imgcnv
import numpy as np
import pytest

import frames

SIZES = [(1, 1), (1, 7), (7, 1), (13, 11), (63, 65), (64, 129), (127, 128)]
TURNS = {
    "horizontal": (imgcnv.flip, "horizontal", lambda image: image[:, ::-1]),
    "vertical": (imgcnv.flip, "vertical", lambda image: image[::-1]),
    "90": (imgcnv.rotate, 90, lambda image: np.rot90(image, -1)),
    "180": (imgcnv.rotate, 180, lambda image: np.rot90(image, 2)),
    "270": (imgcnv.rotate, 270, lambda image: np.rot90(image, 1)),
}


@pytest.mark.parametrize("channels", [(), (3,), (4,)], ids=["grey", "rgb", "rgba"])
@pytest.mark.parametrize("turn", TURNS)
def test_turns(turn, channels):
    function, how, formula = TURNS[turn]
    for size in SIZES:
        image = np.random.default_rng(3).integers(0, 256, size + channels, dtype=np.uint8)
        wanted = formula(image)
        source = frames.guarded(image.tobytes()).reshape(image.shape)
        source.flags.writeable = False
        out = frames.Guarded(image.size).bytes.reshape(wanted.shape)
        assert function(source, how, out=out) is out
        np.testing.assert_array_equal(out, wanted)
        np.testing.assert_array_equal(function(image, how), wanted)


@pytest.mark.parametrize(
    "arguments, error, message",
    [
        ((np.zeros((4, 4), np.uint8), 45), ValueError, "angle is 45, expected 90, 180 or 270"),
        ((np.zeros((4, 4, 2), np.uint8), 90), ValueError, r"shape \(4, 4, 2\)"),
        ((np.zeros((0, 4), np.uint8), 90), ValueError, r"shape \(0, 4\)"),
        ((np.zeros(4, np.uint8), 90), ValueError, r"shape \(4,\)"),
        ((np.zeros((), np.uint8), 90), ValueError, r"shape \(\)"),
        ((np.zeros((4, 4), np.uint16), 90), TypeError, "uint16"),
        ((b"1234", 90), TypeError, "not bytes"),
        ((np.zeros((4, 8), np.uint8)[:, ::2], 90), ValueError, "ascontiguousarray"),
        (
            (np.zeros((4, 2), np.uint8), 90, np.zeros((4, 2), np.uint8)),
            ValueError,
            r"expected \(2, 4\)",
        ),
    ],
)
def test_refused(arguments, error, message):
    with pytest.raises(error, match=message):
        imgcnv.rotate(*arguments[:2], out=arguments[2] if len(arguments) > 2 else None)


def test_in_place_and_unknown_directions_are_refused():
    image = np.zeros((4, 4), np.uint8)
    with pytest.raises(ValueError, match="share bytes"):
        imgcnv.rotate(image, 180, out=image)
    with pytest.raises(ValueError, match="direction is 'sideways'"):
        imgcnv.flip(image, "sideways")

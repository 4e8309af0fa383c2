"""Streams that last: nothing is lost, a lost camera comes back, reports are true.

A camera never sends faster than its rate, but a busy machine makes it miss turns: rates have narrow
limits above and wide ones below.
"""
import json
import os
import pty
import subprocess
import time

from conftest import FAKECAM, LIVE, SAMPLES, wait_for_line

COFFEE = SAMPLES / "coffee_600x400_BayerRG12Packed.raw"
OF_COFFEE = (COFFEE, "BayerRG12Packed", "600x400")


def test_no_packet_is_lost_at_50_fps(camera, grab):
    camera(*OF_COFFEE, "--fps", 50, "--loop")
    report = grab(150)
    assert (report["frames"], report["missing_packets"], report["incomplete_frames"]) == (150, 0, 0)
    assert 25 < report["fps"] < 52
    assert 0 < report["conversion_ms"]["median"] <= report["conversion_ms"]["p99"]


def test_frames_come_in_the_dump_s_order_and_end_there(camera, grab, tmp_path):
    dump = tmp_path / "numbered.raw"
    frames = [b"head" + bytes([i]) * 64 * 48 + b"gap" for i in range(5)]
    dump.write_bytes(b"".join(frames))
    camera(dump, "Mono8", "64x48", "--skip", 4, "--gap", 7, "--fps", 100)
    grab(5, "--record", "rec.raw")
    recorded = (tmp_path / "rec_64x48_Mono8.raw").read_bytes()
    assert recorded == b"".join(bytes([i]) * 64 * 48 for i in range(5))


def test_what_the_client_sets_reaches_the_camera(camera, grab):
    camera(*OF_COFFEE, "--fps", 50, "--loop")
    assert 10 < grab(30, "--fps", 20, "--exposure", 100, "--gain", 2)["fps"] < 23


def test_a_killed_camera_that_returns_streams_again(camera, tmp_path):
    first = camera(*OF_COFFEE, "--fps", 50, "--loop")
    client = subprocess.Popen([LIVE, "--json"], cwd=tmp_path, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True)
    wait_for_line(client.stderr, "streaming from imgcnv-fakecam-1", 10)
    time.sleep(1)
    first.kill()
    wait_for_line(client.stderr, "camera lost", 15)
    time.sleep(1)
    camera(*OF_COFFEE, "--fps", 50, "--loop")
    assert wait_for_line(client.stderr, "camera is back", 10) < 1.5  # a second, and slow machines
    time.sleep(1)
    client.terminate()
    report = json.loads(client.communicate(timeout=20)[0])
    assert client.returncode == 0
    assert report["losses"] == 1 and report["frames"] > 30 and 25 < report["fps"] < 55


def test_without_a_camera_the_way_to_one_is_said(live):
    for arguments in ((), ("--list",)):
        said = live(*arguments, code=1).stderr
        assert "lo (127.0.0.1)" in said and "imgcnv-fakecam" in said
    assert "127.0.0.1" in live("127.0.0.1", code=1).stderr


def test_cameras_are_listed(camera, live):
    camera(*OF_COFFEE, "--loop")
    assert live("--list").stdout == "imgcnv-fakecam-1  127.0.0.1  GigEVision\n"
    listed = json.loads(live("--list", "--json").stdout)
    assert [(each["vendor"], each["model"]) for each in listed] == [("imgcnv", "fakecam")]


def test_a_second_camera_at_an_address_says_why_it_cannot(camera):
    camera(*OF_COFFEE, "--loop")
    done = subprocess.run([FAKECAM, COFFEE, "-f", "BayerRG12Packed", "-s", "600x400"],
                          capture_output=True, text=True, timeout=20)
    assert done.returncode == 1 and "another camera program" in done.stderr


def test_a_dump_that_is_too_short_is_told_what_was_expected():
    done = subprocess.run([FAKECAM, COFFEE, "-f", "BayerRG12Packed", "-s", "1920x1080"],
                          capture_output=True, text=True, timeout=20)
    assert done.returncode == 1 and "expected 3110400" in done.stderr and "given 360000" in done.stderr


def test_errors_of_the_command_line(live):
    assert "640x480+16+8, given 640" in live("--region", "640", code=2).stderr
    assert "BayerRG12" in live("--format", "BayerRG12Pakced", code=2).stderr


def test_a_full_disk_leaves_whole_frames(camera, tmp_path):
    camera(*OF_COFFEE, "--fps", 50, "--loop")
    done = subprocess.run(["sh", "-c", f"ulimit -f 1024; trap '' XFSZ; exec '{LIVE}' 127.0.0.1 "
                           "--frames 20 --record rec.raw"], cwd=tmp_path, capture_output=True,
                          text=True, timeout=30)
    assert done.returncode == 1 and "disk full" in done.stderr
    size = (tmp_path / "rec_600x400_BayerRG12Packed.raw").stat().st_size
    assert 0 < size and size % 360000 == 0


def test_without_a_display_the_terminal_shows_the_picture(camera, tmp_path):
    camera(*OF_COFFEE, "--fps", 50, "--loop")
    environment = {key: value for key, value in os.environ.items()
                   if key not in ("DISPLAY", "WAYLAND_DISPLAY")}
    child, terminal = pty.fork()
    if child == 0:
        os.execvpe(LIVE, [LIVE, "127.0.0.1", "--window"], {**environment, "SDL_VIDEODRIVER": "x11",
                                                      "TERM": "xterm-256color", "LC_ALL": "C.UTF-8"})
    seen = b""
    end = time.monotonic() + 10
    while "\u2580".encode() not in seen and time.monotonic() < end:
        seen += os.read(terminal, 65536)
    os.write(terminal, b"q")
    try:
        while chunk := os.read(terminal, 65536):
            seen += chunk
    except OSError:
        pass  # the program has ended
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
    assert seen.count("\u2580".encode()) > 500 and b"missing packets" in seen

# SPDX-License-Identifier: Apache-2.0
"""Progress, threads, interruption, failures."""

import os
import pickle
import signal
import subprocess
import sys
import threading
import time

import numpy
import pytest
from conftest import draw_page

import dibkit

LARGE = draw_page("grey", 3500, 2500)


def test_progress_goes_from_0_to_100():
    seen = []
    dibkit.resample(LARGE, 300, 400, progress=seen.append)
    assert seen[0] == 0 and seen[-1] == 100 and seen == sorted(seen) and len(seen) > 20


def test_every_conversion_tells_its_progress(image):
    for convert in (
        lambda tell: dibkit.prepare(image, 100, progress=tell),
        lambda tell: dibkit.quantize(image, progress=tell),
        lambda tell: dibkit.to_grey(image, progress=tell),
    ):
        seen = []
        convert(seen.append)
        assert seen[-1] == 100


def test_what_progress_raises_stops_the_work_and_comes_out():
    class Enough(Exception):
        pass

    def stop(percent):
        if percent >= 30:
            raise Enough(percent)

    with pytest.raises(Enough) as stopped:
        dibkit.resample(LARGE, 300, 600, progress=stop)
    assert 30 <= stopped.value.args[0] < 100
    assert dibkit.resample(LARGE, 300, 100) is not None


def test_progress_may_convert_another_image():
    inner = []

    def convert(percent):
        inner.append(dibkit.resample(numpy.ones((9, 9), bool), 100, 200).shape)

    dibkit.resample(LARGE, 300, 200, progress=convert)
    assert set(inner) == {(18, 18)}


def test_other_threads_run_meanwhile():
    counted = 0
    done = False

    def count():
        nonlocal counted
        while not done:
            counted += 1
            time.sleep(0.0005)

    thread = threading.Thread(target=count)
    thread.start()
    try:
        begin = counted
        dibkit.resample(LARGE, 100, 300)
        dibkit.quantize(numpy.dstack([LARGE, LARGE[::-1], LARGE]))
        assert counted - begin > 5
    finally:
        done = True
        thread.join()


def test_threads_give_what_one_gives():
    wanted = dibkit.resample(LARGE, 300, 200)
    results = []
    threads = [
        threading.Thread(target=lambda: results.append(dibkit.resample(LARGE, 300, 200)))
        for _ in range(4)
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 4
    assert all((result == wanted).all() for result in results)


def python(program, *words):
    """A child that Ctrl-C reaches, though what runs in the background has it ignored."""
    return subprocess.Popen(
        [sys.executable, "-c", program, *words], stdout=subprocess.PIPE, text=True,
        preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))


INTERRUPTED = """
import sys, time, numpy, dibkit
pages = numpy.zeros((15000, 16000), numpy.uint8)
progress = (lambda percent: None) if sys.argv[1] == "progress" else None
print("ready", flush=True)
begin = time.monotonic()
try:
    while time.monotonic() - begin < 60:
        dibkit.resample(pages, 300, 301, progress=progress)
except KeyboardInterrupt:
    print("interrupted")
"""


@pytest.mark.parametrize("kind", ["progress", "none"])
def test_ctrl_c_stops_a_long_call(kind):
    with python(INTERRUPTED, kind) as child:
        assert child.stdout.readline() == "ready\n"
        time.sleep(0.3)
        sent = time.monotonic()
        child.send_signal(signal.SIGINT)
        assert child.stdout.readline() == "interrupted\n"
        assert time.monotonic() - sent < 10  # a busy machine takes its time
        assert child.wait() == 0


READING = """
import sys, dibkit
print("ready", flush=True)
try:
    dibkit.read(sys.argv[1])
except KeyboardInterrupt:
    print("interrupted")
"""


def test_ctrl_c_stops_waiting_for_a_file(tmp_path):
    pipe = tmp_path / "pipe.bmp"
    os.mkfifo(pipe)
    with python(READING, pipe) as child:
        assert child.stdout.readline() == "ready\n"
        with open(pipe, "wb") as writer:  # as soon as it is open for reading
            writer.write(b"BM")
            writer.flush()
            time.sleep(0.3)
            child.send_signal(signal.SIGINT)
            assert child.stdout.readline() == "interrupted\n"
        assert child.wait() == 0


def test_errors_have_a_cause_and_the_commands_words(tmp_path):
    page = draw_page("rgb")
    (tmp_path / "text.tif").write_bytes(b"nothing that is an image")
    dibkit.write(tmp_path / "page.bmp", page, 100)
    whole = (tmp_path / "page.bmp").read_bytes()
    (tmp_path / "half.bmp").write_bytes(whole[: len(whole) // 2])
    cause = dibkit.Cause
    for call, wanted, text in [
        (lambda: dibkit.read(tmp_path / "text.tif"), cause.NOT_AN_IMAGE, "text.tif: not a BMP"),
        (lambda: dibkit.read(tmp_path / "half.bmp"), cause.DAMAGED, "half.bmp: "),
        (lambda: dibkit.read(tmp_path / "page.bmp", page=1), cause.NO_SUCH_PAGE, "page.bmp: "),
        (lambda: dibkit.read(tmp_path / "page.bmp", max_pixels=9), cause.TOO_MANY_PIXELS,
         "; max_pixels=N allows more"),
        (lambda: dibkit.resample(page, 100, 200, max_pixels=page.size), cause.TOO_MANY_PIXELS,
         "; max_pixels=N allows more"),
        (lambda: dibkit.resample(page, None, 300), cause.NO_RESOLUTION, "no usable resolution"),
        (lambda: dibkit.resample(page, 1, 65535), cause.TOO_LARGE, "65535"),
        (lambda: dibkit.write(tmp_path / "page.bmp", page, 100, compression="g4"), cause.NOT_HELD,
         "page.bmp: BMP files cannot hold"),
    ]:
        with pytest.raises(dibkit.Error) as told:
            call()
        assert told.value.cause is wanted
        assert text in str(told.value) and "\n" not in str(told.value)
        assert not isinstance(told.value, OSError)


def test_failures_of_the_system_are_os_errors_too(tmp_path):
    dibkit.write(tmp_path / "there.bmp", draw_page("bool"), None)
    with pytest.raises(OSError) as told:
        dibkit.read(tmp_path / "absent.bmp")
    assert isinstance(told.value, dibkit.Error) and told.value.cause is dibkit.Cause.FILE
    assert told.value.errno == 2 and told.value.filename == str(tmp_path / "absent.bmp")
    assert str(told.value) == f"{tmp_path}/absent.bmp: cannot open: No such file or directory"
    with pytest.raises(dibkit.FileError) as told:
        dibkit.write(tmp_path / "there.bmp", draw_page("bool"), None, replace=False)
    assert told.value.errno == 17


def test_errors_go_to_other_processes(tmp_path):
    for call in (
        lambda: dibkit.read(tmp_path / "absent.bmp"),
        lambda: dibkit.resample(draw_page("grey"), None, 300),
    ):
        with pytest.raises(dibkit.Error) as told:
            call()
        again = pickle.loads(pickle.dumps(told.value))
        assert type(again) is type(told.value) and str(again) == str(told.value)
        assert again.cause is told.value.cause
        assert getattr(again, "errno", None) == getattr(told.value, "errno", None)


MEMORY = """
import resource, numpy, dibkit
page = numpy.zeros((2000, 2000), numpy.uint8)
dibkit.resample(page, 300, 310)
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
for _ in range(60):
    dibkit.resample(page, 300, 310)
    try:
        dibkit.resample(page, 300, 310, progress=lambda percent: 1 // (50 - percent // 2))
    except ZeroDivisionError:
        pass
    try:
        dibkit.resample(page, None, 310)
    except dibkit.Error:
        pass
print(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before)
"""


def test_nothing_is_left_behind():
    grown = subprocess.run([sys.executable, "-c", MEMORY], stdout=subprocess.PIPE, check=True)
    assert int(grown.stdout) < 20_000  # KiB; a result has 4,000

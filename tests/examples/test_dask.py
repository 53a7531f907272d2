# SPDX-License-Identifier: Apache-2.0
"""A folder by dask: the results of one process, whatever happens to a worker."""

import hashlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import time

import numpy
import pytest

pytest.importorskip("distributed", reason="dask's scheduler is not there")
psutil = pytest.importorskip("psutil")
dibkit = pytest.importorskip("dibkit")

_SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "examples/dask/prepare_folder.py"
sys.path.insert(0, str(_SCRIPT.parent))
import prepare_folder  # noqa: E402: where it is has just been said

_TOOL = os.environ["DIBKIT_TOOL"]
_PAGES = 30


@pytest.fixture(scope="module")
def scans(tmp_path_factory):
    """Pages in two folders, no two alike, and a file that is no image."""
    folder = tmp_path_factory.mktemp("scans")
    (folder / "more").mkdir()
    random = numpy.random.default_rng(7)
    suffix = "png" if "png" in dibkit.formats() else "bmp"
    for number in range(_PAGES):
        page = random.integers(0, 256, (900, 700), numpy.uint8)
        where = folder / "more" if number % 3 == 0 else folder
        dibkit.write(where / f"{number:02}.{suffix}", page >= 128 if number % 2 else page, 150)
    (folder / "notes.txt").write_text("no image")
    return folder


@pytest.fixture(scope="module")
def alone(scans, tmp_path_factory):
    """What one process makes of the pages: names and hashes."""
    folder = tmp_path_factory.mktemp("alone")
    subprocess.run([_TOOL, "prepare", "--quiet", "--jobs", "1", "--recursive", "--output-dir",
                    folder, "."], cwd=scans, check=True)
    made = hashes(folder)
    assert len(made) == _PAGES
    return made


def hashes(folder):
    """SIGKILL leaves the hidden file that a page was being written to."""
    return {str(path.relative_to(folder)): hashlib.sha256(path.read_bytes()).hexdigest()
            for path in folder.rglob("*") if path.is_file() and not path.name.startswith(".")}


def start(scans, target, *words):
    return subprocess.Popen([sys.executable, _SCRIPT, "--dibkit", _TOOL, *words, scans, target],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def run(scans, target, *words):
    process = start(scans, target, *words)
    try:
        told, remarks = process.communicate(timeout=60)
    finally:
        process.kill()
    return process.returncode, told, remarks


def wait_until(condition):
    end = time.monotonic() + 30
    while not condition():
        assert time.monotonic() < end, "waited too long"
        time.sleep(0.01)


def assert_only_loopback(cluster):
    for pid in [os.getpid(), *(nanny.pid for nanny in cluster.workers.values())]:
        listening = {connection.laddr.ip for connection in psutil.Process(pid).connections("inet")
                     if connection.status == psutil.CONN_LISTEN}
        assert listening == {"127.0.0.1"}


def kill_midway(cluster, target):
    """Kills a worker that has tasks, and has been stopped so that it cannot end them before."""
    wait_until(lambda: target.is_dir() and len(hashes(target)) >= 4)
    nanny = cluster.workers[0]
    os.kill(nanny.pid, signal.SIGSTOP)
    tasks = len(cluster.scheduler.workers[nanny.worker_address].processing)
    made = len(hashes(target))
    os.kill(nanny.pid, signal.SIGKILL)
    assert tasks > 0
    assert made < _PAGES


def test_a_worker_that_is_killed_midway_changes_nothing(scans, alone, tmp_path):
    target = tmp_path / "pages"
    with prepare_folder.local_cluster(2) as cluster:
        assert_only_loopback(cluster)
        process = start(scans, target, "--scheduler", cluster.scheduler_address)
        try:
            kill_midway(cluster, target)
            told, remarks = process.communicate(timeout=60)
        finally:
            process.kill()
    assert process.returncode == 0, remarks
    assert told == f"{_PAGES} files done, 0 failed\n"
    assert hashes(target) == alone


def test_a_second_run_makes_only_what_is_missing(scans, alone, tmp_path):
    target = tmp_path / "pages"
    assert run(scans, target, "--workers", "2")[0] == 0
    made = sorted(path for path in target.rglob("*") if path.is_file())
    made[3].unlink()
    times = {path: path.stat().st_mtime_ns for path in made if path != made[3]}
    assert run(scans, target, "--workers", "1")[0] == 0
    assert {path: path.stat().st_mtime_ns for path in times} == times
    assert hashes(target) == alone


def test_a_file_that_cannot_be_read_fails_alone(scans, tmp_path):
    folder = tmp_path / "scans"
    folder.mkdir()
    good = next(scans.glob("0*"))
    (folder / good.name).write_bytes(good.read_bytes())
    (folder / "bad.png").write_bytes(b"nothing that is an image")
    report = tmp_path / "report.jsonl"
    status, told, remarks = run(folder, tmp_path / "pages", "--workers", "1", "--report", report)
    assert status == 1
    assert told == "1 files done, 1 failed\n"
    assert f"{folder / 'bad.png'}: not a " in remarks
    lines = {line["input"]: line for line in map(json.loads, report.read_text().splitlines())}
    assert lines[str(folder / good.name)]["status"] == "done"
    assert lines[str(folder / "bad.png")]["status"] == "failed"
    assert lines[str(folder / "bad.png")]["message"].startswith("not a ")
    assert list(hashes(tmp_path / "pages")) == [good.name]

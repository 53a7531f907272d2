#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Prepares or resamples every image of a folder with dask, on this machine or by a scheduler.

    prepare_folder.py scans pages
    prepare_folder.py --resample --dpi 200 --scheduler tcp://node1:8786 scans pages

A task is a file, worked on by the command dibkit, which every machine must have; they must see both
folders under the same names. A result appears whole or not at all; files whose result is there are
passed over, so that a run that was interrupted goes on where it stopped. The status is 1 when a
file failed.
"""

import argparse
import contextlib
import json
import os
import pathlib
import subprocess
import sys

import distributed

# The command's status for what is worth another try: the disk is full, memory is short.
_TRY_AGAIN = 75

_SUFFIXES = (".bmp", ".dib", ".jpeg", ".jpg", ".png", ".tif", ".tiff")


def convert(command, source, target):
    """One task: makes the file `target` of `source`. Returns the command's words if it fails.

    Raises OSError for what may go better later; dask then tries again. The result of a try that
    lost its worker may still come beside that of the next: they are the same, and each is whole.
    """
    if os.path.exists(target):
        return None
    os.makedirs(os.path.dirname(target), exist_ok=True)
    ran = subprocess.run([*command, "--quiet", "--force", "--jobs", "1", "-o", target, source],
                         stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                         errors="replace")
    if ran.returncode == 0:
        return None
    told = ran.stderr.strip().removeprefix(f"dibkit: {source}: ") or f"ended with {ran.returncode}"
    if ran.returncode == _TRY_AGAIN or ran.returncode < 0:
        raise OSError(told)
    return told


def _arguments():
    parser = argparse.ArgumentParser(description="Prepares every file of a folder with dask.")
    parser.add_argument("source", type=pathlib.Path, help="folder of scans, walked to its leaves")
    parser.add_argument("target", type=pathlib.Path, help="folder of results, under the same names")
    parser.add_argument("--dpi", type=int, default=300)
    parser.add_argument("--resample", action="store_true", help="brings all to --dpi")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--workers", type=int, help="processes on this machine; usually its CPUs")
    where.add_argument("--scheduler", metavar="ADDRESS", help="of a cluster that is running")
    parser.add_argument("--retries", type=int, default=3, help="of what may go better later")
    parser.add_argument("--report", type=pathlib.Path, help="gets a line of JSON for each file")
    parser.add_argument("--dibkit", default="dibkit", help="the command, on all machines")
    arguments = parser.parse_args()
    if not arguments.source.is_dir():
        parser.error(f"{arguments.source} is no folder")
    return arguments


def local_cluster(workers):
    """Processes on this machine that no other can reach, without the scheduler's dashboard."""
    # Without a dashboard, other pages are served all the same: on every address, unless one is said.
    here = "127.0.0.1:0"
    return distributed.LocalCluster(
        n_workers=workers, threads_per_worker=1, processes=True, host="127.0.0.1",
        scheduler_kwargs={"dashboard": False, "dashboard_address": here},
        worker_dashboard_address=here)


@contextlib.contextmanager
def _client(arguments):
    if arguments.scheduler:
        with distributed.Client(arguments.scheduler) as client:
            yield client
        return
    workers = arguments.workers or len(os.sched_getaffinity(0))
    with local_cluster(workers) as cluster:
        with distributed.Client(cluster) as client:
            yield client


def _files(source, target):
    """The names of each image and of its result; what lies in `target` is no image to work on."""
    source, target = source.resolve(), target.resolve()
    for path in sorted(source.rglob("*")):
        if (path.suffix.lower() in _SUFFIXES and path.is_file() and not path.name.startswith(".")
                and target not in path.parents):
            yield str(path), str(target / path.relative_to(source))


def _start(client, arguments):
    """A future for each file, with the file's name."""
    command = [arguments.dibkit, "resample" if arguments.resample else "prepare", "--dpi",
               str(arguments.dpi)]
    return {client.submit(convert, command, source, target, pure=False,
                          retries=arguments.retries): source
            for source, target in _files(arguments.source, arguments.target)}


def _failure_of(future):
    """What went wrong with a task that has ended, or None: a line."""
    error = future.exception()
    return future.result() if error is None else f"{type(error).__name__}: {error}"


def _tell(report, source, failure):
    line = {"input": source, "status": "done" if failure is None else "failed"}
    if failure is not None:
        line["message"] = failure
        print(f"{source}: {failure}", file=sys.stderr)
    if report:
        print(json.dumps(line), file=report, flush=True)


def main():
    arguments = _arguments()
    failed = 0
    with contextlib.ExitStack() as stack:
        report = arguments.report and stack.enter_context(open(arguments.report, "a"))
        futures = _start(stack.enter_context(_client(arguments)), arguments)
        for future in distributed.as_completed(futures):
            failure = _failure_of(future)
            failed += failure is not None
            _tell(report, futures[future], failure)
        print(f"{len(futures) - failed} files done, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

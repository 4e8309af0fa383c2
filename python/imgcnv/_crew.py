"""Threads that share the work of one call."""

from __future__ import annotations

import os
from concurrent.futures import ThreadPoolExecutor
from typing import Callable, Optional


class Crew:
    """The caller's thread and others, which wait between the calls.

    The others start with the first call and end with `close`, with the Crew or with
    the interpreter. A forked process has none of them and gets its own.
    """

    def __init__(self, threads: int) -> None:
        self._threads = threads
        self._pool: Optional[ThreadPoolExecutor] = None
        self._process = 0

    def run(self, job: Callable[[int], None]) -> None:
        """Call `job` with 0 here and with 1, 2, ... on the other threads.

        All have ended when this returns or raises; an error of one is raised. Where
        no thread can be had, as in a process that ends, all are called here.
        """
        try:
            pool = self._running_pool()
            try:
                others = [pool.submit(job, number) for number in range(1, self._threads)]
            except RuntimeError:
                self.close()
                for number in range(self._threads):
                    job(number)
                return
            job(0)
            for other in others:
                other.result()
        except BaseException:  # KeyboardInterrupt too: nobody works on after the call
            self.close()
            raise

    def close(self) -> None:
        """End the other threads, waiting for what they do; a later `run` starts new ones."""
        pool, self._pool = self._pool, None
        if pool and self._process == os.getpid():
            pool.shutdown(wait=True, cancel_futures=True)

    def _running_pool(self) -> ThreadPoolExecutor:
        process = os.getpid()
        if self._pool is None or self._process != process:
            self._pool = ThreadPoolExecutor(self._threads - 1, "imgcnv")
            self._process = process
        return self._pool

"""Threads that share the work of one call."""

from __future__ import annotations

import os
from collections import deque
from concurrent.futures import ThreadPoolExecutor
from queue import SimpleQueue
from typing import Callable, Deque, Iterator, Optional

Job = Callable[[int], None]


class Crew:
    """The caller's thread and others, which wait between the calls.

    The others start with the first call and end with `close`, with the Crew or with
    the interpreter. A forked process has none of them and gets its own.
    """

    def __init__(self, threads: int) -> None:
        self._others = threads - 1
        self._pool: Optional[ThreadPoolExecutor] = None
        self._process = 0

    def run(self, job: Job, count: int) -> None:
        """Call `job` with every number below `count`, each on the thread that is free first.

        None is at work when this returns or raises; an error of one is raised. The
        caller's thread does what no other comes to, all of it where no thread can be
        had, as in a process that ends.
        """
        work = _Work(job, count)
        try:
            self._call_others(work)
            own = 0
            for number in work.taken():
                job(number)
                own += 1
            for _ in range(count - own):
                error = work.ended.get()
                if error is not None:
                    raise error
        except BaseException:  # KeyboardInterrupt too: nobody works on after the call
            work.left.clear()
            self.close()
            raise

    def close(self) -> None:
        """End the other threads, waiting for what they do; a later `run` starts new ones."""
        pool, self._pool = self._pool, None
        if pool and self._process == os.getpid():
            pool.shutdown(wait=True)

    def _call_others(self, work: _Work) -> None:
        process = os.getpid()
        if self._pool is None or self._process != process:
            self._pool = ThreadPoolExecutor(self._others, "imgcnv")
            self._process = process
        try:
            for _ in range(self._others):
                self._pool.submit(work.help)
        except RuntimeError:
            pass  # "can't start new thread", "cannot schedule new futures after ..."


class _Work:
    """The jobs of one call. Threads that come to it too late find none left."""

    def __init__(self, job: Job, count: int) -> None:
        self.left: Deque[int] = deque(range(count))
        self.ended: SimpleQueue[Optional[BaseException]] = SimpleQueue()
        self._job = job

    def taken(self) -> Iterator[int]:
        """Numbers that nobody else takes."""
        while True:
            try:
                number = self.left.popleft()
            except IndexError:
                return
            yield number

    def help(self) -> None:
        """Work on another thread than the caller's, which waits for each end."""
        for number in self.taken():
            try:
                self._job(number)
            except BaseException as error:
                self.ended.put(error)
            else:
                self.ended.put(None)

"""Batches over workers: in this process, on this machine's cores, or on somebody's cluster."""

from __future__ import annotations

import contextlib
import logging
import os
from collections.abc import Iterator
from typing import Any

from ksbeacon._errors import Unavailable
from ksbeacon.studies._batch import Batch, Job, WorkerError, run_batch

#: Visitors of a batch: about a second's work, so that a lost one costs little and progress is even.
BATCH = 100
#: Batches under way for each worker: enough that none waits, and what bounds memory everywhere.
AHEAD = 4
#: How many workers may die at one batch before the batch itself is held to be the reason.
DEATHS = 50

#: Seconds to wait for the first worker.
START = 300

Range = tuple[int, int]


def ranges(first: int, visitors: int) -> Iterator[Range]:
    for begin in range(first, first + visitors, BATCH):
        yield begin, min(BATCH, first + visitors - begin)


@contextlib.contextmanager
def client(workers: int | None, scheduler: str | None) -> Iterator[Any]:
    """A Dask client: of `scheduler`, an address or a scheduler file, or of local processes."""
    try:
        import dask
        from distributed import Client, LocalCluster
    except ImportError as error:
        raise Unavailable("workers need Dask: python3-distributed, or ksbeacon[study]") from error
    if scheduler is not None:
        where = {"scheduler_file": scheduler} if os.path.isfile(scheduler) else {"address": scheduler}
        with Client(**where) as made:
            yield made
        return
    count = workers or os.cpu_count() or 1
    settings = {
        "distributed.scheduler.allowed-failures": DEATHS,
        # A busy machine starts processes slowly.
        "distributed.comm.timeouts.connect": "300s",
    }
    with dask.config.set(settings), LocalCluster(
        n_workers=count, threads_per_worker=1, dashboard_address="127.0.0.1:0", silence_logs=logging.CRITICAL
    ) as cluster, Client(cluster) as made:
        yield made


def _objection(job: Job) -> str | None:
    return job.objection()


def check_workers(client: Any, job: Job) -> None:
    """Raises `WorkerError` that names a worker of another version, or without the scenario.

    Raises `TimeoutError` when there is no worker at all.
    """
    client.wait_for_workers(1, timeout=START)
    for address, said in client.run(_objection, job, on_error="return").items():
        if isinstance(said, BaseException):
            raise WorkerError(f"the worker {address} cannot use ksbeacon: {said}")
        if said is not None:
            raise WorkerError(f"the worker {address} {said}")


def run_here(job: Job, first: int, visitors: int) -> Iterator[Batch]:
    for begin, count in ranges(first, visitors):
        yield run_batch(job, begin, count)


def run_on(client: Any, job: Job, first: int, visitors: int) -> Iterator[Batch]:
    """The batches in their order, whichever worker is faster; a lost worker's are computed again."""
    from distributed import as_completed

    check_workers(client, job)
    left = ranges(first, visitors)
    ready: dict[int, Batch] = {}
    expected = first
    under_way = as_completed(with_results=True)

    def submit() -> None:
        begin, count = next(left, (0, 0))
        if count:
            # Not pure: Dask would keep the result of an equal study of an hour ago.
            under_way.add(client.submit(run_batch, job, begin, count, pure=False))

    for _ in range(AHEAD * max(1, sum(client.nthreads().values()))):
        submit()
    for _, batch in under_way:
        ready[batch.first] = batch
        while expected in ready:
            done = ready.pop(expected)
            expected += done.count
            yield done
            submit()

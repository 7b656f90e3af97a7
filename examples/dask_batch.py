"""Compares the pairs of a list on a Dask cluster whose machines share a folder.

usage: dask_batch.py SCHEDULER LIST OUTPUT [PARTS]

    SCHEDULER  address of the scheduler, such as tcp://host:8786
    LIST       pairs as of `darkroom batch`; paths as the workers see them
    OUTPUT     results: .jsonl, .csv or .db. The parts are left beside it, in OUTPUT.parts
    PARTS      how many tasks; 4 for each worker unless given

A part of the list is a task. A part is recorded pair by pair: where a worker is lost, another one goes on with its part,
and does what is missing. Run again, the script does the parts that are missing.
"""

import sys
import time
from pathlib import Path

import likeness
from distributed import Client, as_completed


def compare_part(pairs: str, output: str, index: int, count: int) -> int:
    """What a worker does."""
    import likeness

    while True:
        try:
            return likeness.batch(pairs, output, shard=(index, count), resume=True, jobs=1).failed
        except ValueError as problem:
            # The worker that had this part may not be dead, only out of reach: two never write the same file.
            if "another" not in str(problem):
                raise
            time.sleep(1)


def run(client: Client, pairs: Path, output: Path, parts: int) -> int:
    """Compares all pairs; returns how many failed."""
    folder = output.parent / (output.name + ".parts")
    folder.mkdir(exist_ok=True)
    names = [folder / f"{index}{output.suffix}" for index in range(1, parts + 1)]
    tasks = [
        client.submit(compare_part, str(pairs), str(name), index, parts, retries=10, pure=False)
        for index, name in enumerate(names, 1)
    ]
    failed = sum(task.result() for task in as_completed(tasks))
    likeness.merge_results([name for name in names if name.exists()], output, overwrite=True)
    return failed


def main() -> int:
    if len(sys.argv) not in (4, 5):
        print(__doc__, file=sys.stderr)
        return 2
    with Client(sys.argv[1]) as client:
        parts = int(sys.argv[4]) if len(sys.argv) == 5 else 4 * len(client.scheduler_info()["workers"])
        failed = run(client, Path(sys.argv[2]).resolve(), Path(sys.argv[3]).resolve(), parts)
    print(f"{failed} pairs failed" if failed else "all pairs were compared")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

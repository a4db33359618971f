"""python3 -m ksbeacon study SCENARIO: many visitors, one table."""

from __future__ import annotations

import argparse
import sys
from pathlib import Path
from typing import Any

from ksbeacon import Error

_EXAMPLES = """examples:
  python3 -m ksbeacon study visitors.json --report study.html
  python3 -m ksbeacon study visitors.json --visitors 100000 --rows visitors.csv
  python3 -m ksbeacon study visitors.json --compare new-portal --report difference.html
  python3 -m ksbeacon study visitors.json --scheduler tcp://head:8786
Exit codes: 0 success, 1 failure, 2 a mistake in the scenario or the options."""


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python3 -m ksbeacon")
    study = parser.add_subparsers(dest="command", required=True).add_parser(
        "study", help="walk many visitors of a scenario's population", epilog=_EXAMPLES,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )  # fmt: skip
    study.add_argument("scenario", metavar="SCENARIO")
    study.add_argument("--visitors", type=int, metavar="N", help="how many; the population's unless given")
    study.add_argument("--first", type=int, default=1, metavar="N", help="the first visitor's number")
    study.add_argument("--seed", type=int, metavar="N", help="instead of the scenario's")
    study.add_argument("--documents", metavar="DIR", help="instead of the scenario's")
    study.add_argument("--refine", metavar="NAMES", help='refinements, separated by commas; "all" or "none"')
    study.add_argument("--compare", metavar="DIR|NAMES", help="the same visitors with other documents or refinements")
    study.add_argument("--workers", type=int, metavar="N", help="processes; 0: this one; one per core unless given")
    study.add_argument("--scheduler", metavar="ADDRESS|FILE", help="a Dask scheduler instead of own processes")
    study.add_argument("--report", metavar="FILE.html", help="write a page to look at")
    study.add_argument("--csv", metavar="FILE", help="write the table")
    study.add_argument("--parquet", metavar="FILE", help="write the table")
    study.add_argument("--rows", metavar="FILE", help="write the table as it comes, for any number of visitors")
    return parser


def _run(options: argparse.Namespace) -> None:
    from ksbeacon import studies

    common: dict[str, Any] = {
        "first": options.first, "seed": options.seed, "workers": options.workers, "scheduler": options.scheduler,
    }  # fmt: skip
    if options.compare is not None:
        if options.csv or options.parquet or options.rows:
            raise SystemExit("--compare writes a --report alone")
        folders, names = (options.documents, options.documents), (options.refine, options.refine)
        if Path(options.compare).is_dir():
            folders = (options.documents, options.compare)
        else:
            names = (options.refine, options.compare)
        made: Any = studies.compare(
            options.scenario, options.visitors, documents=folders, refinements=names, **common
        )
        print(made.table.to_string(index=False, float_format="%.4f"))
    else:
        made = studies.study(
            options.scenario, options.visitors, documents=options.documents, refinements=options.refine,
            rows_to=options.rows, **common,
        )  # fmt: skip
        print(made.summary.contents[["present", "reached", "late", "fired", "shown"]].to_string())
        for path, write in ((options.csv, made.to_csv), (options.parquet, made.to_parquet)):
            if path:
                write(path)
    if options.report:
        made.report(options.report)


def main() -> int:
    options = _parser().parse_args()
    try:
        _run(options)
    except ImportError as error:
        print(f"ksbeacon: studies need pandas: python3-pandas, or ksbeacon[study] ({error})", file=sys.stderr)
        return 1
    except (Error, OSError) as error:
        print(f"ksbeacon: {error}", file=sys.stderr)
        return 2 if isinstance(error, ValueError) else 1
    except KeyboardInterrupt:
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())

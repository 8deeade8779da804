"""benchmarks/report: docs/performance.md and its plots, from the JSON file of a run."""

from __future__ import annotations

import argparse
import json
from pathlib import Path

from . import document, plots
from .intervals import interval, of_mean

SOURCE = Path(__file__).parent.parent.parent


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="benchmarks/report", description="Writes docs/performance.md and docs/performance/.")
    parser.add_argument("run", type=Path, help="the JSON file of benchmarks/run")
    parser.add_argument("--process-start", type=Path, metavar="FILE",
                        help="what compare_installed printed, if the run has none")
    parser.add_argument("--docs", type=Path, metavar="DIR", default=SOURCE / "docs",
                        help="write there instead of docs")
    return parser.parse_args()


def write_plots(run: document.Json, directory: Path) -> None:
    directory.mkdir(parents=True, exist_ok=True)
    plots.plot_paths(document.path_intervals(run), directory / "paths.svg")
    for comparison, name in [("hand-over", "peers"), ("by-message", "round-trip")]:
        plots.plot_ranking(document.microseconds(run, comparison), "microseconds",
                           directory / f"{name}.svg")
    plots.plot_lines(plots.points_of(run["writers"]["tasks_per_second"], interval),
                     ("writers", "tasks in a second"), directory / "writers.svg", False)
    plots.plot_lines(plots.points_of(run["job_lock"]["milliseconds"], of_mean),
                     ("processes", "milliseconds of a task"), directory / "job-lock.svg", True)
    plots.plot_lines(plots.points_of(run["queue_size"]["nanoseconds"], interval, 1e-3),
                     ("tasks in the queue", "microseconds of a task"),
                     directory / "queue-size.svg", False)


def main() -> int:
    arguments = parse_arguments()
    run = json.loads(arguments.run.read_text())
    if arguments.process_start is not None:
        run["process_start"] = arguments.process_start.read_text()
    write_plots(run, arguments.docs / "performance")
    (arguments.docs / "performance.md").write_text(document.document(run))
    return 0

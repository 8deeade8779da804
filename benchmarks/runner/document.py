"""The text of docs/performance.md. All numbers come from the JSON file of a run."""

from __future__ import annotations

import json
import re
import textwrap
from dataclasses import dataclass
from typing import Any, Sequence

from .comparisons import (BY_FILE, BY_MESSAGE, CLIENT, FLOOR, FRAMES, LIBRARY, PLAIN_C, POCO,
                          STREAMS)
from .intervals import Interval, interval, median, of_mean, ratios
from .measure import SEEDED
from .processes import VELMO

Json = dict[str, Any]


# --- values ---


def times_of(run: Json, comparison: str, where: str = "comparisons") -> dict[str, list[float]]:
    times: dict[str, list[float]] = run[where][comparison]["nanoseconds"]
    return times


def microseconds(run: Json, comparison: str, where: str = "comparisons") -> dict[str, Interval]:
    return {name: interval([value / 1e3 for value in values])
            for name, values in times_of(run, comparison, where).items()}


def ratio(run: Json, comparison: str, contender: str, reference: str,
          where: str = "comparisons") -> Interval:
    times = times_of(run, comparison, where)
    return ratios(times[contender], times[reference])


def calls(run: Json, comparison: str, contender: str) -> float | None:
    counted = run["comparisons"][comparison].get("counts", {}).get(contender, {}).get("calls")
    return round(sum(counted.values()), 1) if counted else None


def instructions(run: Json, comparison: str, contender: str) -> int | None:
    counted = instructions_by_object(run, comparison, contender)
    return sum(counted.values()) if counted else None


def instructions_by_object(run: Json, comparison: str, contender: str) -> dict[str, int]:
    counts = run["comparisons"][comparison].get("counts", {})
    return counts.get(contender, {}).get("instructions") or {}


# --- Markdown ---


def number(value: float | None) -> str:
    if value is None:
        return ""
    if value >= 1000:
        return f"{value:,.0f}"
    return f"{value:.3g}" if value < 100 else f"{value:.0f}"


def with_interval(value: Interval) -> str:
    if value.low == value.high == 1:
        return "1"  # the reference itself
    return f"{value.median:.3f} ({value.low:.3f} to {value.high:.3f})"


def paragraph(text: str) -> list[str]:
    """Wrapped, with an empty line after it."""
    return [*_wrapped(text, ""), ""]


def bullets(texts: Sequence[str]) -> list[str]:
    return [line for text in texts for line in _wrapped(text, "- ")] + [""]


def _wrapped(text: str, start: str) -> list[str]:
    """No line ends within code."""
    joined = re.sub("`[^`]*`", lambda code: code.group().replace(" ", "\0"), " ".join(text.split()))
    lines = textwrap.wrap(joined, 100, initial_indent=start, subsequent_indent=" " * len(start),
                          break_on_hyphens=False, break_long_words=False)
    return [line.replace("\0", " ") for line in lines]


def table(heads: Sequence[str], rows: Sequence[Sequence[str]], texts: int = 1) -> list[str]:
    """The first `texts` columns are text, the others numbers."""
    marks = ["---"] * texts + ["--:"] * (len(heads) - texts)
    lines = ["| " + " | ".join(line) + " |" for line in [heads, *rows]]
    return [lines[0], "|" + "|".join(marks) + "|", *lines[1:], ""]


def plot(text: str, name: str) -> list[str]:
    return [f"![{text}](performance/{name}.svg)", ""]


# --- goals ---


@dataclass(frozen=True)
class Goal:
    operation: str
    comparison: str
    contender: str
    instructions: int | None
    reference: str
    ratio: float
    calls: int | None


GOALS = [
    Goal("`createTaskFile`, job given", "by-file", LIBRARY, 7000, PLAIN_C, 0.98, 11),
    Goal("`createTaskFile`, new job", "by-file-new-job", LIBRARY, 16500, PLAIN_C, 1.00, 26),
    Goal("`generateJobID`: the job lock is held", "job-number", LIBRARY, None, PLAIN_C, 1.05, 15),
    Goal("`findJobInfo`, hit, maximum age", "job-hit-max-age", LIBRARY, 500, PLAIN_C, 1.05, 2),
    Goal("`findJobInfo`, hit, no maximum age", "job-hit", LIBRARY, 450, FLOOR, 1.27, 1),
    Goal("`addTask`", "by-message", LIBRARY, 10300, STREAMS, 0.95, 4),
    Goal("connect, one `addTask`, close", "connection", LIBRARY, None, POCO, 1.00, None),
    Goal("`velmo_submit`, job given", "by-file", CLIENT, 6000, LIBRARY, 1.00, 12),
    Goal("`velmo_send`", "by-message", CLIENT, 8000, STREAMS, 0.90, 3),
]


def reached(text: str, missed: bool) -> str:
    return f"**{text}**" if missed and text else text


def _limit(value: float | None, limit: float | None) -> tuple[str, str]:
    """The columns of a goal and of what was reached."""
    goal = "" if limit is None else number(limit)
    missed = limit is not None and value is not None and value > limit
    return goal, reached(number(value), missed)


def _goal_row(run: Json, goal: Goal) -> list[str]:
    measured = ratio(run, goal.comparison, goal.contender, goal.reference)
    count = instructions(run, goal.comparison, goal.contender)
    least = ratio(run, goal.comparison, FLOOR, goal.contender)
    return [
        goal.operation, goal.reference,
        f"{goal.ratio:.2f}", reached(with_interval(measured), measured.median > goal.ratio),
        *_limit(count, goal.instructions),
        *_limit(calls(run, goal.comparison, goal.contender), goal.calls),
        f"{100 * least.median:.0f} %",
    ]


def _absolute_rows(run: Json) -> list[list[str]]:
    rows = []
    goals = [("a task file of 10 MB, `createTaskFile`", "by-file-10mb", 6.0),
             ("a properties file of 10 lines, load", "properties 10", 0.0032),
             ("a properties file of 1,000 lines, load", "properties 1000", 0.3),
             ("a properties file of 100,000 lines, load", "properties 100000", 100.0)]
    for title, comparison, limit in goals:
        if comparison in run["comparisons"]:
            value = median(times_of(run, comparison)[LIBRARY]) / 1e6
            rows.append([title, *_limit(value, limit)])
    return rows


def goals(run: Json) -> list[str]:
    heads = ["Operation", "Compared with", "Goal: ratio", "Ratio (95 %)", "Goal: instructions",
             "Instructions", "Goal: calls", "Calls", "Floor's share"]
    return [
        "## Goals", "",
        *paragraph("""A ratio below 1 means faster than the program it is compared with. Bold: the
            goal is missed. The floor's share compares the time of the unavoidable system calls
            alone with the time of the operation: no code above the system calls can save it."""),
        *table(heads, [_goal_row(run, goal) for goal in GOALS], 2),
        *table(["Operation", "Goal: milliseconds", "Milliseconds"], _absolute_rows(run)),
    ]


# --- paths ---


PATHS = {
    "by-file": "Task by file, job given",
    "by-file-new-job": "Task by file, new job",
    "job-number": "New job identifier (job lock held)",
    "by-file-10mb": "Task file of 10 MB",
    "job-hit-max-age": "Job in the registry, maximum age",
    "job-hit": "Job in the registry, no maximum age",
    "by-message": "Task by message, connection open",
    "connection": "Connect, one task, close",
}
PATH_CONTENDERS = (FLOOR, PLAIN_C, POCO, STREAMS, LIBRARY, CLIENT)


def path_intervals(run: Json) -> dict[str, dict[str, Interval]]:
    """For the plot: without the large file, whose scale is another."""
    return {
        title: {name: microseconds(run, comparison)[name] for name in PATH_CONTENDERS
                if name in times_of(run, comparison)}
        for comparison, title in PATHS.items() if comparison != "by-file-10mb"
    }


def _comparison_rows(run: Json, comparison: str, title: str) -> list[list[str]]:
    reference = run["comparisons"][comparison]["reference"]
    values = microseconds(run, comparison)
    names = [name for name in PATH_CONTENDERS if name in values]
    return [[title if name == names[0] else "", name, number(values[name].median),
             with_interval(ratio(run, comparison, name, reference)),
             number(instructions(run, comparison, name)), number(calls(run, comparison, name))]
            for name in names]


def paths(run: Json) -> list[str]:
    rows = []
    for comparison, title in PATHS.items():
        rows += _comparison_rows(run, comparison, title)
    heads = ["Operation", "Program", "Microseconds", "Ratio (95 %)", "Instructions", "Calls"]
    return [
        "## Cost of each operation", "",
        *bullets([
            """**floor**: C, only the unavoidable system calls, with paths and contents prepared. By
            message: one send and one receive of prepared bytes.""",
            """**plain C**: the same files, locks, calls and checks in the same order, written by
            hand with libc only. The ratios by file and of jobs refer to it.""",
            """**POCO**: POCO's WebSocket, called directly, with the messages made and parsed by
            Protocol Buffers: the least work. The ratios by message refer to it.""",
            """**POCO, by streams**: the same, but the reply is gathered in a stream, parsed from it
            and copied, as programs do that take replies of several frames. The goals by message
            refer to it.""",
        ]),
        *plot("Microseconds of each operation", "paths"), *table(heads, rows, 2),
        *paragraph("""With a new job, `libvelmo-client` makes more calls than `libvelmo`: it blocks
            signals while it holds the job lock, writes its process identifier into the lock file,
            and checks that the file is still its own before it changes the counter."""),
    ]


SHARES = {
    "own": ("libvelmo", "libvelmo-client"), "libc": ("libc",), "libstdc++": ("libstdc++",),
    "Protocol Buffers": ("libprotobuf",), "POCO": ("libPocoNet", "libPocoFoundation"),
}


def _share_row(run: Json, goal: Goal) -> list[str]:
    counted = instructions_by_object(run, goal.comparison, goal.contender)
    shares = [sum(counted.get(name, 0) for name in names) for names in SHARES.values()]
    rest = sum(counted.values()) - sum(shares)
    return [goal.operation, *(f"{share:,}" if share else "" for share in [*shares, rest])]


def where(run: Json) -> list[str]:
    rows = [_share_row(run, goal) for goal in GOALS
            if instructions_by_object(run, goal.comparison, goal.contender)]
    if not rows:
        return []
    return [
        "### Where the instructions go", "",
        *paragraph("""User instructions of one operation, by the library that executes them. Other:
            the calling program, the loader, libgcc and libm."""),
        *table(["Operation", *SHARES, "Other"], rows),
    ]


# --- peers ---


HAND_OVER_NOTES = {
    LIBRARY + BY_FILE: "numbers the task, writes its file, moves it into the queue; not synced",
    CLIENT + BY_FILE: "the same; reports every failure to the caller",
    LIBRARY + BY_MESSAGE: "waits for the reply of a service that here only answers",
    CLIENT + BY_MESSAGE: "the same, without POCO and Protocol Buffers, with a deadline",
    "Maildir (Python)": "Python interprets each step; syncs the file, which costs nothing in"
                        " memory; numbers without a lock",
    "dirq (Python)": "Python interprets each step; names come from the clock and a random digit,"
                     " without a lock or a counter",
    "SQLite, DELETE, FULL": "durable at return; its syncs cost nothing in memory, and most of the"
                            " time on a disk",
    "SQLite, WAL, NORMAL": "appends to a log file that stays open; a power cut loses what came"
                           " after the last checkpoint",
    "beanstalkd": "a daemon keeps the job in memory and loses it when it ends; short text protocol",
    "redis, RPUSH": "a daemon appends to a list in memory, here without persistence",
    "gearmand, background job": "a daemon keeps the job in memory; its threads, here all on one"
                                " core, pass it on to each other",
}

TRIP_NOTES = {
    FLOOR: "prepared bytes with a fixed mask; looks at nothing",
    FRAMES: "one prepared request, the reply is not parsed",
    POCO: "the reply is parsed where it was received; SIGPIPE can end the process",
    STREAMS: "the same, with the reply gathered in a stream, parsed from it and copied",
    LIBRARY: "adds a guard against SIGPIPE and takes the reply apart in blocks of 8 KiB",
    CLIENT: "its own frames and messages; keeps a deadline in every wait",
    "Boost.Beast": "synchronous: one send, one receive, and no deadline",
    "libwebsockets": "an event loop: waits with poll before each send and receive",
    "websocketpp": "asynchronous over Boost.Asio: handlers and allocations for each message",
}

COMMAND_NOTES = {
    VELMO: "a C++ program; the task is in the queue when it ends",
    "nq": "a small C program; starts the task at once in a child, without a service",
    "task-spooler": "a small C program; passes the task to a server process of the user",
    "at": "runs with other privileges, copies the environment into a script",
}


def _peer_rows(run: Json, comparison: str, reference: str,
               notes: dict[str, str]) -> list[list[str]]:
    values = microseconds(run, comparison)
    ordered = sorted(values, key=lambda name: values[name].median)
    return [[name, notes.get(name, ""), number(values[name].median),
             with_interval(ratio(run, comparison, name, reference)),
             number(instructions(run, comparison, name)), number(calls(run, comparison, name))]
            for name in ordered]


def peers(run: Json) -> list[str]:
    heads = ["Way", "What it does", "Microseconds", "Ratio (95 %)", "Instructions", "Calls"]
    trips = ["Client", "What it does", "Microseconds", "Ratio (95 %)", "Instructions", "Calls"]
    return [
        "## Other ways to hand a task over", "",
        *paragraph("""A resident process hands over the command `true` again and again. Daemons run
            on the same core, so no wake-up of another core counts. Instructions and calls are those
            of the submitting process alone. The ratios refer to `libvelmo` by file."""),
        *plot("Microseconds to hand a task over", "peers"),
        *table(heads, _peer_rows(run, "hand-over", LIBRARY + BY_FILE, HAND_OVER_NOTES), 2),
        *paragraph("""Those that are faster do less, or something else. SQLite appends to a file
            that stays open, and the reader must use SQLite too. beanstalkd, redis and the service
            of the round trip keep the task in memory. By file, each task becomes a file with a
            number that is unique on the machine; the number alone takes six of the 11 system
            calls."""),
        "### Round trip", "",
        *paragraph("""Each client fills, serialises and parses the same messages, unless the table
            says otherwise. Only the WebSocket differs. The ratios refer to POCO."""),
        *plot("Microseconds of a round trip", "round-trip"),
        *table(trips, _peer_rows(run, "by-message", POCO, TRIP_NOTES), 2),
    ]


# --- processes ---


def _start_rows(lines: str) -> list[list[str]]:
    rows = []
    for line in filter(None, lines.splitlines()):
        entry = json.loads(line)
        measured = Interval(entry["low"], entry["ratio"], entry["high"])
        rows.append([f"`{entry['program']}`", number(entry["milliseconds"]),
                     with_interval(measured)])
    return rows


def commands(run: Json) -> list[str]:
    measured = run["commands"]["milliseconds"]
    rows = [[name, COMMAND_NOTES.get(name, ""), number(median(values)),
             with_interval(ratios(values, measured[VELMO]))]
            for name, values in sorted(measured.items(), key=lambda item: median(item[1]))]
    lines = ["## A process for each task", ""]
    if run.get("process_start"):
        lines += [
            *paragraph("""Programs that start, submit one task by file and end, installed, on one
                core. `plain_process` uses libc only; the ratios refer to it. The goals are 2.2 with
                `libvelmo-client`, and 3 with `velmo submit`."""),
            *table(["Program", "Milliseconds", "Ratio (95 %)"], _start_rows(run["process_start"]))]
    return [
        *lines,
        *paragraph("""Commands that hand one task over, until they return. The ratios refer to
            `velmo submit`, here run in the build tree."""),
        *table(["Command", "What it does", "Milliseconds", "Ratio (95 %)"], rows, 2)]


# --- several processes, many files ---


def writers(run: Json) -> list[str]:
    rates = run["writers"]["tasks_per_second"]
    rows = [[count, *(number(median(values[name])) for name in (PLAIN_C, LIBRARY, CLIENT)),
             *(with_interval(ratios(values[name], values[PLAIN_C])) for name in (LIBRARY, CLIENT))]
            for count, values in rates.items()]
    heads = ["Writers", PLAIN_C, LIBRARY, CLIENT, f"{LIBRARY}: ratio (95 %)",
             f"{CLIENT}: ratio (95 %)"]
    return [
        "## Several writers", "",
        *paragraph(f"""Tasks in a second of all writers together, by file with a job given, on
            {run['machine']['cores']} cores. The ratios refer to plain C; here a ratio above 1 is
            faster. The goal of `libvelmo` is 0.95."""),
        *plot("Tasks in a second by number of writers", "writers"), *table(heads, rows, 0),
        *paragraph("""One semaphore protects the task counter of the machine, and all writers share
            one directory: both limit the total."""),
    ]


def _mean_with_interval(values: Sequence[float]) -> str:
    low, mean, high = of_mean(values)
    return f"{number(mean)} ({number(low)} to {number(high)})"


def job_lock(run: Json) -> list[str]:
    waits = run["job_lock"]["milliseconds"]
    names = list(next(iter(waits.values())))
    rows = [[count, *(_mean_with_interval(values[name]) for name in names)]
            for count, values in waits.items()]
    return [
        "## Waiting at the job lock", "",
        *paragraph(f"""Milliseconds of a task by file with a new job, while several processes submit
            {run['job_lock']['block']} such tasks each. They start together. The table has the mean
            over all processes and {run['job_lock']['rounds']} starts, with its 95 % interval by
            bootstrap: a few long pauses decide it."""),
        *plot("Milliseconds of a task by number of processes", "job-lock"),
        *table(["Processes", *names], rows, 0),
        *paragraph("""The lock is a file. A process that finds it taken sleeps and tries again:
            `libvelmo` and plain C for 10 to 990 ms, by `rand()`; `libvelmo-client` for 1 to 20 ms,
            by its own random numbers. A task waits for these pauses, not for the work under the
            lock."""),
    ]


def queue_size(run: Json) -> list[str]:
    times = run["queue_size"]["nanoseconds"]
    rows = [[f"{int(size):,}", *(number(median(values[name]) / 1e3) for name in (PLAIN_C, LIBRARY)),
             with_interval(ratios(values[LIBRARY], values[PLAIN_C]))]
            for size, values in times.items()]
    return [
        "## Number of tasks in the queue", "",
        *paragraph("""Microseconds of a task by file, by the number of tasks already in the queue. A
            submission never lists the queue."""),
        *plot("Microseconds of a task by tasks in the queue", "queue-size"),
        *table(["Tasks in the queue", PLAIN_C, LIBRARY, "Ratio (95 %)"], rows, 0),
    ]


def misses(run: Json) -> list[str]:
    rows = []
    for comparison in run["comparisons"]:
        if comparison.startswith("job-miss"):
            values = microseconds(run, comparison)
            rows.append([f"{int(comparison.split()[1]):,}", number(values["room"].median),
                         number(values["full"].median)])
    return [
        "## Jobs that are not in memory", "",
        *paragraph("""Microseconds of `findJobInfo` for a job that only its file knows. A full
            registry evicts the job that was used least recently. By rule, it asks the file system
            for the time of every job's file, because another process may have used the job."""),
        *table(["Jobs in the registry", "With room", "Full"], rows, 0),
    ]


def _image_rows(run: Json, comparison: str, reference: str, title: str) -> list[list[str]]:
    values = microseconds(run, comparison, "image")
    names = sorted(values, key=lambda name: values[name].median)
    return [[title if name == names[0] else "", name, number(values[name].median),
             with_interval(ratio(run, comparison, name, reference, "image"))]
            for name in names]


def image(run: Json) -> list[str]:
    if not run.get("image"):
        return []
    rows = [row for comparison in ("by-file", "by-file-new-job", "by-file-10mb")
            for row in _image_rows(run, comparison, PLAIN_C, PATHS[comparison])]
    rows += _image_rows(run, "hand-over", LIBRARY + BY_FILE, "Hand a task over")
    return [
        "## On ext4", "",
        *paragraph("""The same on a fresh ext4 file system with a journal, in an image that is held
            in memory: a sync pays for the journal, but not for a disk. The ratios refer to plain C,
            those of handing over to `libvelmo` by file."""),
        *table(["Operation", "Program", "Microseconds", "Ratio (95 %)"], rows, 2),
    ]


# --- advice ---


def _median_of(run: Json, comparison: str, contender: str) -> float:
    return microseconds(run, comparison)[contender].median


def _advice_of_misses(run: Json) -> str:
    comparison = max((name for name in run["comparisons"] if name.startswith("job-miss")),
                     key=lambda name: int(name.split()[1]))
    size = int(comparison.split()[1])
    full, room = (_median_of(run, comparison, name) for name in ("full", "room"))
    return f"""Choose `maxJobs` above the number of keys in use. A miss in a full registry of
        {size:,} jobs takes {number(full / 1e3)} ms, in a registry with room
        {number(room / 1e3)} ms."""


def _advice_of_lock(run: Json) -> str:
    waits = run["job_lock"]["milliseconds"]
    count = max(waits, key=int)
    without, seeded = (of_mean(waits[count][name]).median for name in (LIBRARY, LIBRARY + SEEDED))
    return f"""Seed `rand()` in programs that fork workers, for example with `srand(getpid())` in
        each worker. Otherwise all workers that wait for the job lock pause for the same times, and
        retry in step. With {count} processes a task took {number(without)} ms on average without a
        seed, and {number(seeded)} ms with one."""


def advice(run: Json) -> list[str]:
    given, new = (_median_of(run, name, LIBRARY) for name in ("by-file", "by-file-new-job"))
    kept, own = (_median_of(run, name, LIBRARY) for name in ("by-message", "connection"))
    return [
        "## Advice", "",
        *bullets([
            f"""Give a job identifier when you submit many tasks: call `generateJobID` once and pass
            its result. A task takes {number(given)} microseconds with a job given,
            {number(new)} with a new one, and with a job given it never waits at the job lock.""",
            f"""Keep one connection for many tasks. A task takes {number(kept)} microseconds on an
            open connection, and {number(own)} with a connection for itself.""",
            _advice_of_misses(run), _advice_of_lock(run),
            """Submit many tasks from one process. Starting a program takes longer than submitting
            a task: compare the tables below.""",
        ]),
    ]


# --- how ---


def method(run: Json) -> list[str]:
    by_file = run["comparisons"]["by-file"]
    return [
        "## How this was measured", "",
        *paragraph(f"""Each program is a resident process: it prepares itself once, then runs blocks
            of one operation and reports the time of each block. In every round, all programs of a
            comparison take turns in random order, pinned to one core together with the service or
            daemon that they speak to; by file, {by_file['rounds']} rounds of {by_file['block']}
            operations. Queues are emptied between the blocks, outside the measured time."""),
        *paragraph("""A time is the median over the rounds. A ratio is the median of the ratios
            within each round, which cancels what disturbs a whole round. In parentheses is its 95 %
            interval, from order statistics."""),
        *paragraph("""Instructions are those in user mode inside the operation, counted by callgrind.
            System calls are counted by strace. Both counts are differences of two runs of different
            length, so the start of a program does not count. The programs have few variables in
            their environment, because `libvelmo` reads some at each call."""),
        *paragraph("""Files are on tmpfs unless stated otherwise. An ext4 file system without a
            journal avoids recently freed inodes, so creating files after deleting many would
            measure that search."""),
        "    script/setup build test bench",
        f"    {run['command']}",
        f"    benchmarks/report {_output_of(run['command'])}", "",
        *table(["Machine", ""], _machine_rows(run), 2),
        *table(["Software", "Version"],
               [[name, version] for name, version in run["versions"].items()], 2),
        *_missing(run),
    ]


def _output_of(command: str) -> str:
    return next(word for word in command.split()[1:] if not word.startswith("-"))


def _machine_rows(run: Json) -> list[list[str]]:
    machine = run["machine"]
    names = {"processor": "Processor", "cores": "Cores", "memory": "Memory", "kernel": "Kernel",
             "system": "System", "work": "File system of the queue", "load": "Load at the start"}
    rows = [[title, machine[name]] for name, title in names.items()]
    return [*rows, ["Date", run["date"]], ["Commit", f"`{run['commit']}`"]]


def _missing(run: Json) -> list[str]:
    if not run["missing"]:
        return []
    return ["Not measured, because a program was missing: " + ", ".join(run["missing"]) + ".", ""]


_UNIT_SCALE = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}


def units(run: Json) -> list[str]:
    rows = [[entry["name"], number(entry["cpu_time"] * _UNIT_SCALE[entry["time_unit"]])]
            for entries in run["units"].values() for entry in entries
            if entry.get("run_type") != "aggregate" and "error_occurred" not in entry]
    return ["## Units", "", "Google Benchmark, in microseconds of processor time.", "",
            *table(["Benchmark", "Microseconds"], rows)]


def document(run: Json) -> str:
    head = [
        "# Performance", "",
        *paragraph("""How long the operations of `libvelmo` and `libvelmo-client` take, compared
            with the same work written by hand and with other ways to hand a task over.
            `benchmarks/report` writes this page from one run; do not edit it."""),
    ]
    sections = [goals, advice, paths, where, peers, commands, writers, job_lock, queue_size,
                misses, image, units, method]
    lines = head + [line for section in sections for line in section(run)]
    return "\n".join(lines).rstrip() + "\n"

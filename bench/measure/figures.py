"""Interleaved runs, their medians and spread, on the terminal and as JSON."""

import json
import os
import pathlib
import statistics

from .world import Cost

OURS = "ftp_clientd"
WITHOUT_PAUSES = "without pauses"  # the same with its main loop's pauses cut


def interleave(subjects, rounds):
    """{name: its call's result in each round}. All take turns, and a different one begins each round; a first round
    warms up and does not count."""
    names = list(subjects)
    runs = {name: [] for name in names}
    for number in range(rounds + 1):
        first = number % len(names)
        for name in names[first:] + names[:first]:
            figure = subjects[name]()
            if number > 0:
                runs[name].append(figure)
    return runs


def spread(values, digits):
    if len(values) == 1:
        return f"{values[0]:.{digits}f}"
    return f"{statistics.median(values):.{digits}f} ({min(values):.{digits}f} to {max(values):.{digits}f})"


def column(runs, name, figure):
    return [getattr(run, figure) for run in runs[name]]


def ratio(runs, name, figure):
    """The median of ours divided by theirs, round by round."""
    pairs = zip(column(runs, OURS, figure), column(runs, name, figure))
    return statistics.median(ours / theirs for ours, theirs in pairs)


def reached(name, value, most):
    """Prints whether an aim was reached."""
    good = value <= most
    print(f"{name}: {value:.4g}, aim: at most {most:.4g}: {'reached' if good else 'missed'}")
    return good


def print_table(title, heads, rows):
    """The first column is text, the others formatted figures."""
    print(title)
    widths = [max(len(str(row[at])) for row in [heads, *rows]) for at in range(len(heads))]
    for row in [heads, *rows] if any(heads) else rows:
        cells = [str(row[0]).ljust(widths[0])] + [str(cell).rjust(width) for cell, width in zip(row[1:], widths[1:])]
        print("  ".join(cells), flush=True)


def cost_table(runs):
    """(heads, rows); runs: lists of costs by name, including ours."""

    def cells(name):
        peaks = [cost.peak_mib for cost in runs[name] if cost.peak_mib is not None]
        return [
            name,
            spread(column(runs, name, "wall_s"), 2),
            f"{ratio(runs, name, 'wall_s'):.2f}",
            spread([1000 * cpu_s for cpu_s in column(runs, name, "cpu_s")], 1),
            f"{ratio(runs, name, 'cpu_s'):.2f}",
            f"{statistics.median(peaks):.1f}" if peaks else "",
        ]

    heads = ["", "wall s", "ours/theirs", "CPU ms", "ours/theirs", "peak MiB"]
    return heads, [cells(name) for name in runs]


def print_costs(title, runs):
    title += ": median (least to most); ours/theirs is the median of the rounds' ratios"
    print_table(title, *cost_table(runs))


def machine():
    """A description of what the figures depend on."""
    cpu = "unknown processor"
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            cpu = line.partition(":")[2].strip()
            break
    load = round(os.getloadavg()[2], 1)  # over 15 minutes, so that a short benchmark itself hardly counts
    return {"processor": cpu, "cores": os.cpu_count(), "kernel": os.uname().release, "load": load}


def store(build, name, title, figures):
    """<build>/results/<name>.json, for the report and for bench/compare."""
    folder = build / "results"
    folder.mkdir(exist_ok=True)
    content = {"title": title, "machine": machine(), "figures": figures}
    (folder / f"{name}.json").write_text(json.dumps(content, indent=1) + "\n")


def store_costs(build, name, title, runs):
    store(build, name, title, {who: [cost._asdict() for cost in costs] for who, costs in runs.items()})


def costs_of(stored):
    """The figures of store_costs."""
    return {who: [Cost(**cost) for cost in costs] for who, costs in stored.items()}

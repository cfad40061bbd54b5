"""Interleaved runs, their medians and spread, on the terminal and as JSON."""

import json
import os
import pathlib
import statistics
import time

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


def ratios(runs, name, figure, ours=OURS):
    """Ours divided by theirs, round by round."""
    return [ours / theirs for ours, theirs in zip(column(runs, ours, figure), column(runs, name, figure))]


def ratio(runs, name, figure, ours=OURS):
    return statistics.median(ratios(runs, name, figure, ours))


def shown_ratio(runs, name, figure, ours=OURS):
    """The median; a tie if a quarter of the rounds or more went either way."""
    found = sorted(ratios(runs, name, figure, ours))
    quarter = len(found) // 4
    is_tie = name != ours and len(found) >= 4 and found[quarter] <= 1 <= found[-1 - quarter]
    return f"{statistics.median(found):.2f}{' (tie)' if is_tie else ''}"


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
            shown_ratio(runs, name, "wall_s"),
            spread([1000 * cpu_s for cpu_s in column(runs, name, "cpu_s")], 1),
            shown_ratio(runs, name, "cpu_s"),
            f"{statistics.median(peaks):.1f}" if peaks else "",
        ]

    heads = ["", "wall s", "ours/theirs", "CPU ms", "ours/theirs", "peak MiB"]
    return heads, [cells(name) for name in runs]


def beside_table(runs, theirs):
    """(heads, rows); runs: lists of costs by name. The ratios are to theirs."""

    def cells(name):
        return [
            name,
            spread(column(runs, name, "wall_s"), 2),
            spread([1000 * cpu_s for cpu_s in column(runs, name, "cpu_s")], 1),
            shown_ratio(runs, theirs, "cpu_s", name),
            f"{statistics.median(column(runs, name, 'peak_mib')):.1f}",
        ]

    return ["", "wall s", "CPU ms", f"CPU to {theirs}", "peak MiB"], [cells(name) for name in runs]


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
    today = time.strftime("%d %B %Y").lstrip("0")
    return {"processor": cpu, "cores": os.cpu_count(), "kernel": os.uname().release, "load": load, "date": today}


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

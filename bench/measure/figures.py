"""Interleaved runs, their medians and spread, on the terminal and as JSON."""

import json
import os
import pathlib
import statistics

OURS = "ftp_clientd"


def interleave(subjects, rounds):
    """{name: a list with what its call returned in each round}. All take turns, a different one begins each round;
    one round before the first warms up and is not counted."""
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
    return f"{statistics.median(values):.{digits}f} ({min(values):.{digits}f} to {max(values):.{digits}f})"


def column(runs, name, figure):
    return [getattr(run, figure) for run in runs[name]]


def ratio(runs, name, figure):
    """Median of ours through theirs, round by round."""
    pairs = zip(column(runs, OURS, figure), column(runs, name, figure))
    return statistics.median(ours / theirs for ours, theirs in pairs)


def print_costs(title, runs):
    """runs: lists of costs by name, ours among them."""
    print(f"{title}: median (least to most); ours / theirs is the median of the rounds' ratios")
    print(f"{'':22}{'wall s':>22}{'ours/theirs':>12}{'CPU s':>22}{'ours/theirs':>12}{'peak MiB':>10}")
    for name, costs in runs.items():
        peaks = [cost.peak_mib for cost in costs if cost.peak_mib is not None]
        print(
            f"{name:22}"
            f"{spread(column(runs, name, 'wall_s'), 2):>22}{ratio(runs, name, 'wall_s'):12.2f}"
            f"{spread(column(runs, name, 'cpu_s'), 2):>22}{ratio(runs, name, 'cpu_s'):12.2f}"
            + (f"{statistics.median(peaks):10.1f}" if peaks else ""),
            flush=True,
        )


def machine():
    """What the figures depend on, in words."""
    cpu = "unknown processor"
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            cpu = line.partition(":")[2].strip()
            break
    return {"processor": cpu, "cores": os.cpu_count(), "kernel": os.uname().release}


def store(build, name, title, figures):
    """<build>/results/<name>.json, for the report and for bench/compare."""
    folder = build / "results"
    folder.mkdir(exist_ok=True)
    content = {"title": title, "machine": machine(), "figures": figures}
    (folder / f"{name}.json").write_text(json.dumps(content, indent=1) + "\n")


def store_costs(build, name, title, runs):
    store(build, name, title, {who: [cost._asdict() for cost in costs] for who, costs in runs.items()})

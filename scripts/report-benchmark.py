#!/usr/bin/python3
"""Turns the timings of scripts/benchmark into tables and a plot.

    report-benchmark.py RESULTS.json... REPORT

Rewrites what stands between the two markers in REPORT.md and draws REPORT.png. Timings are found by their
names, WHO/PLANE/TYPE/SIDExSLICES/WORKLOAD. A row whose timings are missing says so.
"""

import collections
import json
import pathlib
import re
import statistics
import subprocess
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plot  # noqa: E402

WORKLOADS = ["blobs", "thin", "noise", "single"]
SIZES = [128, 256, 512, 1024, 2048, 4096]
TYPES = ["Bool", "Int8", "Int16", "UInt16", "Int32", "UInt32", "Float", "Int64", "UInt64", "Double"]
TYPES_OF_64_BITS = ["Int64", "UInt64", "Double"]
MEMORY_IN_SLICES = 1 + 2 + 32  # scratch, table of 2 · side² roots, slabs


def compared(who, workload="blobs", plane="XY", element="UInt8", shape="512x32"):
    return f"{who}/{plane}/{element}/{shape}/{workload}"


def of_size(who, side, workload="blobs"):
    return compared(who, workload, shape=f"{side}x{max(2**25 // side**2, 8)}")


def of_scipy(workload):
    return compared("scipy", workload, shape="512x8")


# --- results -------------------------------------------------------------------------------------------


class Results:
    """All repetitions of every timing, and what the programs say about themselves."""

    def __init__(self, paths):
        self.context = {}
        self.values = collections.defaultdict(list)
        for path in paths:
            report = json.loads(pathlib.Path(path).read_text())
            self.context |= report["context"]
            for entry in report["benchmarks"]:
                if entry.get("error_occurred"):
                    sys.exit(f"{entry['name']}: {entry['error_message']}")
                if entry["run_type"] == "iteration":
                    value = entry.get("ns_voxel", entry.get("extra_slices"))
                    self.values[entry["name"]].append(value)

    def median(self, name):
        return statistics.median(self.values[name]) if name in self.values else None

    def spread(self, name):
        """The median, and the smallest and largest repetition."""
        if name not in self.values:
            return "not measured"
        values = self.values[name]
        return f"{significant(self.median(name))} ({significant(min(values))}–{significant(max(values))})"


def significant(value):
    """Three digits, or all before the point."""
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


# --- tables --------------------------------------------------------------------------------------------


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def row(label, goal, ratio, *spreads):
    """`goal` is None or a pair such as ("≥", 15)."""
    if ratio is None:
        return [label, "", "not measured", "", *spreads]
    if goal is None:
        return [label, "–", f"{significant(ratio)} ×", "", *spreads]
    sign, limit = goal
    met = ratio >= limit if sign == "≥" else ratio <= limit
    return [label, f"{sign} {limit} ×", f"{significant(ratio)} ×", "yes" if met else "**no**", *spreads]


def speed_rows(results):
    """How many times as fast as others."""
    for who, label, goal in [("literal", "literal", 15), ("opencv", "OpenCV", 6), ("itk", "ITK", None),
                             ("scipy", "SciPy", None)]:
        for workload in WORKLOADS:
            other = of_scipy(workload) if who == "scipy" else compared(who, workload)
            yield faster(results, f"{label}, {workload}", goal, compared("lorb", workload), other)
        if who == "literal":
            yield faster(results, "literal, empty", None, compared("lorb", "empty"), compared(who, "empty"))


def faster(results, label, goal, name, other):
    ratio = quotient(results, other, name)
    return row(label, goal and ("≥", goal), ratio, results.spread(name), results.spread(other))


def cost_rows(results):
    """How many times the cost of something simpler."""
    pairs = [
        ("plain pass, blobs, 512² × 32", 12, compared("lorb"), compared("pass")),
        ("plain pass, blobs, 512³", 12, compared("lorb", shape="512x512"), compared("pass", shape="512x512")),
    ]
    for plane in ["XZ", "YZ"]:
        cube = compared("lorb", plane=plane, shape="512x512")
        pairs.append((f"{plane} against XY, 512³", 1.25, cube, compared("lorb", shape="512x512")))
    for element in TYPES:
        goal = 1.6 if element in TYPES_OF_64_BITS else 1.3
        pairs.append((f"{element} against UInt8", goal, compared("lorb", element=element), compared("lorb")))
    generic, typed = compared("lorb-generic", element="Float"), compared("lorb", element="Float")
    pairs.append(("generic datasets against typed, Float", 3, generic, typed))
    pairs.append(("a call per slice against one call", None, compared("lorb-slices"), compared("lorb")))
    for who, label in [("lorb-new", "a new object against a used one"),
                       ("lorb-fresh", "memory fresh from the system against kept")]:
        for side, slices in [(512, 128), (4096, 8)]:
            pairs.append((f"{label}, {side}² × {slices}", None, of_size(who, side), of_size("lorb", side)))
    for label, goal, name, other in pairs:
        ratio = quotient(results, name, other)
        yield row(label, goal and ("≤", goal), ratio, results.spread(name), results.spread(other))


def quotient(results, name, other):
    a, b = results.median(name), results.median(other)
    return a / b if a is not None and b is not None else None


def size_rows(results):
    for side in SIZES:
        names = [of_size("lorb", side), of_size("lorb", side, "thin"), of_size("opencv", side)]
        yield [f"{side}²", *(results.spread(name) for name in names)]
    ratios = []
    for workload in ["blobs", "thin"]:
        medians = [results.median(of_size("lorb", side, workload)) for side in SIZES]
        if None in medians:
            ratios.append("not measured")
        else:
            ratio = max(medians) / min(medians)
            ratios.append(f"{significant(ratio)} × (goal ≤ 1.5 ×: {'met' if ratio <= 1.5 else '**not met**'})")
    yield ["slowest / fastest", *ratios, ""]


def memory_rows(results):
    for plane in ["XY", "XZ", "YZ"]:
        name = compared("memory", plane=plane, shape="512x128")
        slices = results.median(name)
        if slices is not None:
            met = "yes" if slices <= MEMORY_IN_SLICES else "**no**"
            yield [plane, f"≤ {MEMORY_IN_SLICES} slices", f"{significant(slices)} slices", met]


def machine_rows(results):
    context = results.context
    lscpu = json.loads(subprocess.check_output(["lscpu", "--json"], text=True))["lscpu"]
    flat = {entry["field"].rstrip(":"): entry["data"] for entry in lscpu}
    caches = [f"L{c['level']} {c['size'] // 1024} KiB" for c in context["caches"] if c["type"] != "Instruction"]
    peers = [f"{who} {context[who]}" for who in ["OpenCV", "ITK", "SciPy"] if who in context]
    load = f"{context['load_avg'][0]:.1f}" if context.get("load_avg") else "unknown"
    return [
        ["Processor", f"{flat['Model name']} (family {flat['CPU family']}, model {flat['Model']}), "
                      f"{context['num_cpus']} cores at {context['mhz_per_cpu']} MHz"],
        ["Caches", ", ".join(caches)],
        ["Vector unit", context["vector unit"]],
        ["Compiler, flags", f"{context['compiler']}, `{context['library flags'].strip()}`"],
        ["Peers", ", ".join(peers) or "none"],
        ["Measured", f"{context['date'][:10]}; load average before the run {load}"],
    ]


def section(results, picture):
    ratio_head = ["Against", "Goal", "Ratio", "Met"]
    return "\n\n".join([
        table(["", ""], machine_rows(results)),
        f"![Nanoseconds per voxel by subject and mask, and by size of the slices]({picture})",
        "How many times as fast as others, 512²:",
        table([*ratio_head, "lorb, ns/voxel", "other, ns/voxel"], speed_rows(results)),
        "How many times the cost of something simpler:",
        table(["What", *ratio_head[1:], "it, ns/voxel", "yardstick, ns/voxel"], cost_rows(results)),
        "Nanoseconds per voxel over the size of the slices:",
        table(["Slices", "lorb, blobs", "lorb, thin", "OpenCV, blobs"], size_rows(results)),
        "Extra memory of one call, 512² × 128 (scratch, table of square roots and at most 32 slices):",
        table(["Plane", "Goal", "Measured", "Met"], memory_rows(results)),
    ])


def rewrite(page, text):
    """Puts `text` between the markers."""
    begin, end = "<!-- measured: begin", "<!-- measured: end"
    parts = re.fullmatch(rf"(.*{begin}[^\n]*\n).*({end}.*)", page.read_text(), re.DOTALL)
    if not parts:
        sys.exit(f"{page}: the markers '{begin} …' and '{end} …' are missing")
    page.write_text(f"{parts[1]}\n{text}\n\n{parts[2]}")


# --- plot ----------------------------------------------------------------------------------------------

SUBJECTS = {  # label and colour; the colours differ in lightness as well
    "lorb": ("lorb", "#0b5394"),
    "literal": ("literal procedure", "#999999"),
    "opencv": ("OpenCV", "#e08214"),
    "itk": ("ITK", "#5aae61"),
    "scipy": ("SciPy", "#9970ab"),
}


def draw_bars(axes, results):
    """Groups of bars, a group for every workload, each bar with its value."""
    width = 0.85 / len(SUBJECTS)
    for number, (who, (label, colour)) in enumerate(SUBJECTS.items()):
        for place, workload in enumerate(WORKLOADS):
            name = of_scipy(workload) if who == "scipy" else compared(who, workload)
            value = results.median(name)
            if value is None:
                continue
            x = place + (number - (len(SUBJECTS) - 1) / 2) * width
            values = results.values[name]
            error = [[value - min(values)], [max(values) - value]]
            axes.bar(x, value, width * 0.92, color=colour, label=label if place == 0 else None)
            axes.errorbar(x, value, error, color="black", linewidth=0.8, capsize=2)
            text = f"{value:.1f}" if value < 10 else f"{value:.0f}"
            axes.text(x, max(values) * 1.07, text, ha="center", va="bottom", fontsize=10)
    floor = results.median(compared("pass"))
    if floor is not None:
        axes.axhline(floor, color="black", linestyle=":", linewidth=1.5, label="plain pass over memory")
    axes.set_yscale("log")
    axes.set_ylim(0.1, 1000)
    axes.set_xticks(range(len(WORKLOADS)), WORKLOADS)
    axes.set_ylabel("ns per voxel, one thread")
    axes.set_title("512 × 512 slices", fontsize=13)
    axes.legend(ncol=3, loc="upper left", frameon=False, fontsize=10.5, columnspacing=1.2, handlelength=1.2)


def draw_sizes(axes, results):
    curves = [("lorb", "blobs", "o-", "lorb, blobs"), ("lorb", "thin", "s--", "lorb, thin"),
              ("lorb-new", "blobs", "^:", "lorb, blobs, new object"), ("opencv", "blobs", "o-", "OpenCV, blobs")]
    for who, workload, style, label in curves:
        names = {side: of_size(who, side, workload) for side in SIZES}
        measured = {side: results.values[name] for side, name in names.items() if name in results.values}
        if not measured:
            continue
        colour = SUBJECTS[who.removesuffix("-new")][1]
        medians = [statistics.median(values) for values in measured.values()]
        lowest, highest = [min(v) for v in measured.values()], [max(v) for v in measured.values()]
        axes.plot(measured.keys(), medians, style, color=colour, label=label)
        axes.fill_between(measured.keys(), lowest, highest, color=colour, alpha=0.2, linewidth=0)
    axes.set_xscale("log", base=2)
    axes.set_yscale("log")
    axes.set_xticks(SIZES, [f"{side}²" for side in SIZES])
    axes.set_xlabel("slices")
    axes.set_title("32 Mi voxels or 8 slices, of any size", fontsize=13)
    axes.legend(frameon=False, fontsize=10.5)


def draw(results, path):
    plot.rcParams.update({"font.size": 11.5, "axes.spines.top": False, "axes.spines.right": False})
    figure, (left, right) = plot.subplots(1, 2, figsize=(12, 5.2), width_ratios=[1.7, 1], sharey=True)
    draw_bars(left, results)
    draw_sizes(right, results)
    for axes in (left, right):
        axes.yaxis.set_major_formatter(matplotlib.ticker.FormatStrFormatter("%g"))
        axes.grid(axis="y", color="#dddddd", linewidth=0.8)
        axes.set_axisbelow(True)
    right.tick_params(labelleft=True)
    figure.tight_layout()
    figure.savefig(path, dpi=150, metadata={"Software": None})


def main():
    *paths, report = sys.argv[1:]
    results = Results(paths)
    picture = pathlib.Path(report + ".png")
    draw(results, picture)
    rewrite(pathlib.Path(report + ".md"), section(results, picture.name))


main()

#!/usr/bin/env python3
"""Turns Google Benchmark JSON outputs into one Markdown table.

    summarize.py wrapper_benchmark.json buffer_benchmark.json ...

Prints the machine line, then one row per benchmark: the figure it stands
for, its value and unit, and the spread across repetitions (coefficient of
variation of the real time). When a run has repetitions the medians are used.
What a row shows follows from the counters the benchmark reports:
  wrapper_ns, direct_ns, ratio  an accessor against a direct call
  median_us, p99_us (max_us)    a latency distribution (with floor_<figure>_us
                                and the <figure>_x_floor ratios when it has a floor)
  <what>_per_second             a rate, in <what>/s
  a BigO aggregate              a family over sizes: its end points and the fit
otherwise the real time per iteration.
"""
import datetime
import json
import os
import sys

TIME_UNITS = [("ns", 1.0), ("µs", 1e3), ("ms", 1e6), ("s", 1e9)]
TO_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def scaled_unit(ns):
    """The largest unit in which `ns` is at least 1."""
    name, factor = TIME_UNITS[0]
    for candidate in TIME_UNITS:
        if ns >= candidate[1]:
            name, factor = candidate
    return name, factor


def with_unit(ns):
    unit, factor = scaled_unit(ns)
    return f"{number(ns / factor)} {unit}"


def number(value):
    """Three significant digits, without exponent for the magnitudes seen here."""
    if value == 0:
        return "0"
    if abs(value) >= 100:
        return f"{value:.0f}"
    return f"{value:.3g}"


def si(value):
    for suffix, factor in (("G", 1e9), ("M", 1e6), ("k", 1e3)):
        if abs(value) >= factor:
            return f"{number(value / factor)} {suffix}"
    return number(value)


def short_name(run_name):
    parts = [p for p in run_name.split("/") if p != "real_time" and not p.startswith("iterations:")]
    return "/".join(parts)


def real_ns(row):
    return row["real_time"] * TO_NS[row["time_unit"]]


def load(path):
    with open(path) as f:
        data = json.load(f)
    rows = data["benchmarks"]
    repeated = any(r.get("aggregate_name") == "median" for r in rows)
    kept, cv, families = [], {}, {}
    for r in rows:
        kind = r.get("aggregate_name")
        if kind == "cv":
            cv[r["run_name"]] = r["real_time"]
        elif kind in ("BigO", "RMS"):
            families.setdefault(r["run_name"], {})[kind] = r
        elif (kind == "median") if repeated else (r.get("run_type") == "iteration"):
            kept.append(r)
    return data["context"], kept, cv, families


def family_row(program, family, members, fit, spread):
    first, last = members[0], members[-1]
    size = lambda r: r["run_name"].split("/")[1]
    value = f"{with_unit(real_ns(first))} → {with_unit(real_ns(last))}"
    if "BigO" in fit:
        rms = fit["RMS"]["rms"] * 100 if "RMS" in fit else float("nan")
        value += f"; fit O({fit['BigO']['big_o']}), rms {rms:.0f}%"
    figure = f"time at N={size(first)} → N={size(last)} entries; fitted growth"
    return [f"{program}: {family}", figure, value, "time", spread]


def row_for(program, r, spread):
    name = f"{program}: {short_name(r['run_name'])}"
    if "ratio" in r:
        value = f"{number(r['wrapper_ns'])} vs {number(r['direct_ns'])} (×{r['ratio']:.2f})"
        return [name, "exported wrapper vs non-inlined direct call", value, "ns per call", spread]
    if "median_us" in r:
        figures = ["median", "p99"] + (["max"] if "max_us" in r else [])
        values = " / ".join(number(r[f + "_us"]) for f in figures)
        label = " / ".join(figures)
        if "floor_median_us" in r:  # the same figures of a hand-off floor of the same run, and the ratios
            label += "; hand-off floor; ratios"
            values += "; " + " / ".join(number(r[f"floor_{f}_us"]) for f in figures)
            values += "; " + " / ".join(f"×{r[f + '_x_floor']:.1f}" for f in figures)
        return [name, label, values, "µs", spread]
    rates = [key for key in r if key.endswith("_per_second")]
    if rates:
        return [name, "rate", si(r[rates[0]]), rates[0].replace("_per_second", "/s"), spread]
    unit, factor = scaled_unit(real_ns(r))
    return [name, "real time per iteration", number(real_ns(r) / factor), unit, spread]


def spread_of(cv, run_name):
    return f"{cv[run_name] * 100:.1f}%" if run_name in cv else "–"


def machine_line(context):
    model = "unknown CPU"
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    model = line.split(":", 1)[1].strip()
                    break
    except OSError:
        pass
    date = context.get("date") or datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="seconds")
    load = ", ".join(f"{v:.2f}" for v in context.get("load_avg", []))
    return f"Machine: {model}, {os.cpu_count()} cores, load average {load} at start; run {date}"


def main(paths):
    table, first_context = [], None
    for path in paths:
        context, rows, cv, families = load(path)
        first_context = first_context or context
        program = os.path.basename(path).replace("_benchmark.json", "").replace(".json", "")
        done = set()
        for r in rows:
            family = r["run_name"].split("/")[0]
            if family in families:
                if family not in done:
                    members = [m for m in rows if m["run_name"].split("/")[0] == family]
                    spreads = [cv[m["run_name"]] for m in members if m["run_name"] in cv]
                    spread = f"≤{max(spreads) * 100:.1f}%" if spreads else "–"
                    table.append(family_row(program, family, members, families[family], spread))
                    done.add(family)
                continue
            table.append(row_for(program, r, spread_of(cv, r["run_name"])))
    print(machine_line(first_context or {}))
    print()
    header = ["Benchmark", "Figure", "Value", "Unit", "Spread (cv)"]
    print("| " + " | ".join(header) + " |")
    print("|" + "|".join("---" for _ in header) + "|")
    for line in table:
        print("| " + " | ".join(line) + " |")


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit("usage: summarize.py <benchmark json>...")
    main(sys.argv[1:])

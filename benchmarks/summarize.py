#!/usr/bin/env python3
"""Turns Google Benchmark JSON outputs into one Markdown table.

    summarize.py wrapper_benchmark.json buffer_benchmark.json ...

Prints the machine line, then one row per benchmark: the figure it stands
for, its value and unit, and the spread across repetitions (coefficient of
variation of the real time). When a run has repetitions the medians are used.
What a row shows follows from the counters the benchmark reports:
  wrapper_ns, direct_ns, ratio  an accessor against a direct call
  present_ns, absent_ns         a metadata find of present against absent tags
  find_ns, search_call_ns, ...  a metadata find against the same search called / inlined
  median_us, p99_us (max_us)    a latency distribution (with floor_<figure>_us
                                and the <figure>_x_floor ratios when it has a floor)
  <what>_per_second             a rate, in <what>/s
  core_cpu_ms_per_frame         the camera pipeline (hal3_pipeline_bench): four rows per
                                run, CPU against the memset floor, latency against its
                                bound, frame intervals, the checker's share
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
    parts = [p for p in run_name.split("/") if p not in ("real_time", "manual_time") and not p.startswith("iterations:")]
    return "/".join(parts)


def real_ns(row):
    return row["real_time"] * TO_NS[row["time_unit"]]


def load(path):
    with open(path) as f:
        data = json.load(f)
    rows = data["benchmarks"]
    repeated = any(r.get("aggregate_name") == "median" for r in rows)
    kept, cv, cv_rows, families = [], {}, {}, {}
    for r in rows:
        kind = r.get("aggregate_name")
        if kind == "cv":
            cv[r["run_name"]] = r["real_time"]
            cv_rows[r["run_name"]] = r
        elif kind in ("BigO", "RMS"):
            families.setdefault(r["run_name"], {})[kind] = r
        elif (kind == "median") if repeated else (r.get("run_type") == "iteration"):
            kept.append(r)
    return data["context"], kept, cv, cv_rows, families


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
    if "absent_vs_present" in r:
        value = f"{number(r['present_ns'])} / {number(r['absent_ns'])} (absent ×{r['absent_vs_present']:.2f})"
        return [name, "present / absent tag", value, "ns per find", spread]
    if "find_vs_call" in r:
        value = (f"{number(r['find_ns'])} vs {number(r['search_call_ns'])} / {number(r['search_inline_ns'])}"
                 f" (×{r['find_vs_call']:.2f} / ×{r['find_vs_inline']:.2f})")
        return [name, "find vs the search called / inlined", value, "ns per find", spread]
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


def pipeline_rows(program, r, cv_rows, jpeg_every_frame_extra_ms):
    """The camera pipeline's figures, each spread being the cv of its first counter."""
    name = f"{program}: {short_name(r['run_name'])}"
    cv = cv_rows.get(r["run_name"], {})

    def spread(counter):
        return f"{cv[counter] * 100:.1f}%" if counter in cv else "–"

    interval = r["latency_bound_ms"] / (r["pipeline_depth"] + 1)
    cpu = (f"{number(r['core_cpu_ms_per_frame'])}; {number(r['floor_ms'])}; ×{r['core_x_floor']:.1f}")
    cpu_label = "core CPU per frame; memset floor of the four pictures (same run); core / floor"
    if jpeg_every_frame_extra_ms is not None:
        cpu += f"; +{number(jpeg_every_frame_extra_ms)}"
        cpu_label += "; added by a JPEG on every frame"
    latency = (f"{number(r['latency_p50_ms'])} / {number(r['latency_p99_ms'])}; {number(r['latency_bound_ms'])}; "
               f"{r['max_in_flight']:.0f} / {r['max_buffers']:.0f}")
    intervals = (f"{number(r['shutter_interval_p50_ms'])} / {number(r['result_interval_p50_ms'])}; "
                 f"{r['shutter_interval_off_p99_pct']:.2f}% / {r['result_interval_off_p99_pct']:.2f}%")
    checker = f"{number(r['checker_cpu_ms_per_frame'])}; {r['checker_pct_of_interval']:.1f}%"
    return [
        [name, cpu_label, cpu, "ms", spread("core_cpu_ms_per_frame")],
        [name, f"submit-to-final latency p50 / p99; bound (pipeline depth {r['pipeline_depth']:.0f} + 1 frame "
               "intervals); most requests in flight / max_buffers", latency, "ms", spread("latency_p99_ms")],
        [name, f"frame interval p50 (shutter / final result); p99 distance from {number(interval)} ms", intervals,
         "ms", spread("result_interval_off_p99_pct")],
        [name, "checker CPU per frame; share of the frame interval", checker, "ms",
         spread("checker_cpu_ms_per_frame")],
    ]


def jpeg_extra_ms(rows):
    """Core CPU a JPEG on every frame adds to one every 30th, when the run has both."""
    by_arg = {short_name(r["run_name"]): r for r in rows if "core_cpu_ms_per_frame" in r}
    every, sparse = by_arg.get("BM_FourStreams30fps/1"), by_arg.get("BM_FourStreams30fps/30")
    if every is None or sparse is None:
        return None
    return every["core_cpu_ms_per_frame"] - sparse["core_cpu_ms_per_frame"]


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
    load = ", ".join(f"{v:.2f}" for v in context.get("load_avg", [])) + " at start"
    try:
        with open("/proc/loadavg") as f:
            load += ", " + ", ".join(f.read().split()[:3]) + " at the end"
    except OSError:
        pass
    return f"Machine: {model}, {os.cpu_count()} cores, load average {load}; run {date}"


def main(paths):
    table, first_context = [], None
    for path in paths:
        context, rows, cv, cv_rows, families = load(path)
        first_context = first_context or context
        program = os.path.basename(path).replace("_benchmark.json", "").replace("_bench.json", "")
        program = program.replace(".json", "")
        extra = jpeg_extra_ms(rows)
        done = set()
        for r in rows:
            if "core_cpu_ms_per_frame" in r:
                every_frame = short_name(r["run_name"]) == "BM_FourStreams30fps/1"
                table.extend(pipeline_rows(program, r, cv_rows, extra if every_frame else None))
                continue
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

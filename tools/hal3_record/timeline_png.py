#!/usr/bin/python3
"""Draws a hal3_check timeline (Chrome trace-event JSON) as a PNG, the way a
trace viewer lays it out: one row per track, "X" slices as bars, flow arrows
from each frame to its pieces, findings as red marks with their rule id, and
the counters below. For the README's picture where no browser is at hand.

    timeline_png.py timeline.json out.png [first_ms last_ms]

first_ms / last_ms: the window, in ms from the first event (default: all).
Needs python3-matplotlib.
"""
import json
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402


def main(argv):
    events = json.load(open(argv[1]))["traceEvents"]
    t0 = min(e["ts"] for e in events if "ts" in e)
    window = (float(argv[3]), float(argv[4])) if len(argv) > 4 else None
    ms = lambda ts: (ts - t0) / 1000.0
    names = {(e["pid"], e["tid"]): e["args"]["name"] for e in events if e["ph"] == "M" and e["name"] == "thread_name"}
    # Rows: calling threads first, then streams, then frame lanes, as a viewer sorts them.
    visible = lambda t: window is None or window[0] <= t <= window[1]
    # Only the tracks with something in the window (a run reconfigures its
    # streams many times; each configuration's tracks are named up front).
    shown = {(e.get("pid"), e.get("tid")) for e in events
             if e["ph"] in "Xfi" and (visible(ms(e["ts"])) or (e["ph"] == "X" and visible(ms(e["ts"] + e["dur"]))))}
    tracks = sorted((k for k in names if k in shown), key=lambda k: (k[0], k[1]))
    row = {k: i for i, k in enumerate(tracks)}

    fig, (ax, counters) = plt.subplots(2, 1, figsize=(14, 2 + 0.45 * len(tracks)), sharex=True,
                                       gridspec_kw={"height_ratios": [len(tracks), 3]})
    colours = {"process_capture_request": "#4c72b0", "flush": "#dd8452", "close": "#937860",
               "configure_streams": "#8172b3"}
    starts, series = {}, {}
    for e in events:
        key = (e.get("pid"), e.get("tid"))
        if e["ph"] == "X" and key in row and (visible(ms(e["ts"])) or visible(ms(e["ts"] + e["dur"]))):
            name = e["name"]
            colour = colours.get(name, "#55a868" if name.startswith("frame") else
                                 "#c44e52" if "error" in name else "#8c8c8c")
            ax.barh(row[key], e["dur"] / 1000.0, left=ms(e["ts"]), height=0.7, color=colour, edgecolor="black",
                    linewidth=0.3)
            if e["dur"] / 1000.0 > (3 if window is None else (window[1] - window[0]) / 60):
                ax.text(ms(e["ts"]) + 0.2, row[key], name, va="center", fontsize=6, clip_on=True)
        elif e["ph"] == "s":
            starts[e["id"]] = (ms(e["ts"]), row.get(key))
        elif e["ph"] == "f" and e["id"] in starts and visible(ms(e["ts"])) and visible(starts[e["id"]][0]):
            (x0, y0), x1, y1 = starts[e["id"]], ms(e["ts"]), row.get(key)
            if y0 is not None and y1 is not None:
                ax.annotate("", xy=(x1, y1), xytext=(x0, y0),
                            arrowprops=dict(arrowstyle="->", lw=0.4, color="#555555", alpha=0.6))
        elif e["ph"] == "i" and visible(ms(e["ts"])):
            y = row.get(key, 0)
            ax.plot(ms(e["ts"]), y, marker="v", color="red", markersize=9)
            ax.text(ms(e["ts"]), y - 0.55, e["name"], color="red", fontsize=8, ha="center")
        elif e["ph"] == "C" and visible(ms(e["ts"])):
            for k, v in e["args"].items():
                label = f"{e['name']}: {k}"
                series.setdefault(label, ([], []))
                series[label][0].append(ms(e["ts"]))
                series[label][1].append(v)
    for label, (xs, ys) in series.items():
        counters.step(xs, ys, where="post", label=label, lw=1)
    ax.set_yticks(range(len(tracks)))
    ax.set_yticklabels([names[k] for k in tracks], fontsize=7)
    ax.invert_yaxis()
    ax.grid(axis="x", lw=0.3)
    counters.legend(fontsize=7, loc="upper right")
    counters.set_xlabel("ms")
    if window:
        ax.set_xlim(*window)
    ax.set_title(argv[1].split("/")[-1], fontsize=9)
    fig.tight_layout()
    fig.savefig(argv[2], dpi=110)


if __name__ == "__main__":
    main(sys.argv)

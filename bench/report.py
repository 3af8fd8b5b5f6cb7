"""Turns the benchmark's JSON into a Markdown table of ratios: report.py RESULTS.json [HEADING]"""
import json
import sys
from collections import defaultdict

OURS = "Tarnkit"
COPY = "memory copy"
WINE = "Wine: "


def read(path):
    """job -> contender -> milliseconds of processor time, the minimum over the interleaved repetitions"""
    best = defaultdict(dict)
    with open(path) as file:
        results = json.load(file)
    # Interleaving shuffles the runs; the table keeps the order in which the contests were registered.
    for run in sorted(results["benchmarks"], key=lambda run: run["family_index"]):
        if run.get("run_type") != "iteration" or run.get("error_occurred"):
            continue
        job, contender = run["run_name"].removesuffix("/manual_time").removesuffix("/iterations:1").rsplit("/", 1)
        # A child measures its own processor time, and that is the real time here.
        time = run["real_time" if run["run_name"].endswith("/manual_time") else "cpu_time"]
        best[job][contender] = min(time, best[job].get(contender, time))
    return results["context"], best


def main():
    context, best = read(sys.argv[1])
    print(f"Measured {context['date'][:10]} on {context['num_cpus']} x {context['mhz_per_cpu']} MHz x86-64, one thread, "
          "processor time, minimum "
          "of interleaved runs.\n")
    print("| Job | Tarnkit ms | memory copy | times the copy | fastest peer | times the peer | 32-bit under Wine ms | "
          "times the native | others (ms) |")
    print("|---|---|---|---|---|---|---|---|---|")
    for job, times in best.items():
        copy = times.get(COPY)
        own = [(name, ms) for name, ms in times.items() if name.startswith(OURS)]
        peers = sorted((ms, name) for name, ms in times.items() if not name.startswith((OURS, WINE)) and name != COPY)
        for number, (name, ms) in enumerate(own):
            label = job if name == OURS else f"{job}: {name[len(OURS) + 2:]}"
            copied, ratio = (f"{copy:.1f}", f"{ms / copy:.2f}") if copy else ("-", "-")
            fastest = f"{peers[0][1]} {peers[0][0]:.1f}" if peers else "-"
            speedup = f"{peers[0][0] / ms:.2f} x as fast" if peers else "-"
            wine = times.get(WINE + name)
            under, factor = (f"{wine:.1f}", f"{wine / ms:.2f}") if wine else ("-", "-")
            others = ", ".join(f"{peer} {time:.1f}" for time, peer in peers[1:]) if number == 0 else ""
            print(f"| {label} | {ms:.1f} | {copied} | {ratio} | {fastest} | {speedup} | {under} | {factor} | {others} |")


main()

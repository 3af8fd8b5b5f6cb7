"""Turns the benchmark's JSON into a Markdown table of ratios: report.py RESULTS.json [HEADING]"""
import json
import sys
from collections import defaultdict

OURS = "Tarnkit"
COPY = "memory copy"


def read(path):
    """job -> contender -> milliseconds, the minimum over the interleaved repetitions"""
    best = defaultdict(dict)
    with open(path) as file:
        results = json.load(file)
    # Interleaving shuffles the runs; the table keeps the order in which the contests were registered.
    for run in sorted(results["benchmarks"], key=lambda run: run["family_index"]):
        if run.get("run_type") != "iteration" or run.get("error_occurred"):
            continue
        job, contender = run["run_name"].replace("/manual_time", "").rsplit("/", 1)
        time = run["real_time"]
        best[job][contender] = min(time, best[job].get(contender, time))
    return results["context"], best


def main():
    context, best = read(sys.argv[1])
    print(f"Measured {context['date'][:10]} on {context['num_cpus']} x {context['mhz_per_cpu']} MHz x86-64, one thread, "
          "minimum of interleaved runs.\n")
    print("| Job | Tarnkit ms | memory copy | times the copy | fastest peer | times the peer | others (ms) |")
    print("|---|---|---|---|---|---|---|")
    for job, times in best.items():
        ours = times.get(OURS)
        copy = times.get(COPY)
        own = [(name, ms) for name, ms in times.items() if name.startswith(OURS) and name != OURS]
        peers = sorted((ms, name) for name, ms in times.items() if not name.startswith(OURS) and name != COPY)
        rows = [(job, ours)] if ours is not None else []
        rows += [(f"{job}: {name[len(OURS) + 2:]}", ms) for name, ms in own]
        for number, (label, ms) in enumerate(rows):
            fastest = f"{peers[0][1]} {peers[0][0]:.1f}" if peers else "-"
            speedup = f"{peers[0][0] / ms:.2f} x as fast" if peers else "-"
            others = ", ".join(f"{name} {time:.1f}" for time, name in peers[1:]) if number == 0 else ""
            ratio = f"{ms / copy:.2f}" if copy else "-"
            print(f"| {label} | {ms:.1f} | {copy:.1f} | {ratio} | {fastest} | {speedup} | {others} |")


main()

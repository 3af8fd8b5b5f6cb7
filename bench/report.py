"""Turns the benchmark's JSON into a Markdown table of ratios: report.py RESULTS.json"""
import json
import sys
from collections import defaultdict

OURS = "Tarnkit"
SETTINGS = {"Tarnkit, new bitmap": "new", "Tarnkit": "there", "Tarnkit, row by row": "rows", "Tarnkit, engine": "engine"}
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


def rows_of(job, times):
    """The rows of a job: label, and the contender of each setting. What is no setting has a row of its own."""
    own = [name for name in times if name.startswith(OURS)]
    settings = {SETTINGS[name]: name for name in own if name in SETTINGS}
    if settings:
        yield job, settings
    for name in own:
        if name not in SETTINGS:
            yield f"{job}: {name[len(OURS) + 2:]}", {"there": name}


def cells(times, names, copy, peer):
    """Milliseconds by setting, then the ratios."""
    for setting in ("new", "there", "rows", "engine"):
        yield f"{times[names[setting]]:.2f}" if setting in names else "-"
    yield f"{copy:.2f}" if copy else "-"
    yield f"{peer[1]} {peer[0]:.2f}" if peer else "-"
    for setting in ("new", "there", "rows"):
        yield f"{peer[0] / times[names[setting]]:.2f}" if peer and setting in names else "-"
    for setting in ("new", "there"):
        wine = times.get(WINE + names[setting]) if setting in names else None
        yield f"{wine / times[names[setting]]:.2f}" if wine else "-"


def main():
    context, best = read(sys.argv[1])
    print(f"Measured {context['date'][:10]} on {context['num_cpus']} x {context['mhz_per_cpu']} MHz x86-64, one thread, "
          "milliseconds of processor time, minimum of interleaved runs.\n")
    print("| Job | new bitmap | memory that is there | row by row | engine alone | memory copy | fastest peer | peer / new "
          "| peer / there | peer / rows | 32-bit / native, new | 32-bit / native, there | other peers |")
    print("|" + "---|" * 13)
    for job, times in best.items():
        copy = times.get(COPY)
        peers = sorted((ms, name) for name, ms in times.items() if not name.startswith((OURS, WINE)) and name != COPY)
        for number, (label, names) in enumerate(rows_of(job, times)):
            others = ", ".join(f"{name} {ms:.1f}" for ms, name in peers[1:]) if number == 0 else ""
            print(f"| {label} | {' | '.join(cells(times, names, copy, peers[0] if peers else None))} | {others} |")


main()

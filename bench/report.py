#!/usr/bin/env python3
"""Turns bench/run.sh's raw rows into a Markdown table: best of the rounds per tool and job,
with throughput, CPU time, peak RSS and the ratio to curl (or to lftp for folder trees)."""
import datetime
import os
import platform
import sys


def main() -> None:
    out, raw = sys.argv[1], sys.argv[2:]
    best: dict[tuple[str, str], tuple[float, float, float, int, int]] = {}
    order: list[tuple[str, str]] = []
    for row in raw:
        tool, op, size, secs, user, system, rss = row.split("|")
        key = (tool, op)
        if key not in order:
            order.append(key)
        if secs == "fail":
            continue
        sample = (float(secs), float(user), float(system), int(rss), int(size))
        if key not in best or sample[0] < best[key][0]:
            best[key] = sample

    def throughput(key: tuple[str, str]) -> float | None:
        if key not in best:
            return None
        secs, _, _, _, size = best[key]
        return size / max(secs, 0.001) / 1e6

    lines = [
        "# Benchmark results",
        "",
        f"Date: {datetime.date.today()}; machine: {platform.machine()}, {os.cpu_count()} cores, "
        f"{cpu_model()}; server: vsftpd on loopback, passive mode, serving from memory; the clients' files on disk.",
        "Best of the rounds. Ratio: throughput relative to curl (folder trees: relative to lftp's mirror).",
        "",
        "| tool | job | seconds | MB/s | CPU s | peak RSS MiB | ratio |",
        "|---|---|---:|---:|---:|---:|---:|",
    ]
    for tool, op in order:
        key = (tool, op)
        if key not in best:
            lines.append(f"| {tool} | {op} | failed | | | | |")
            continue
        secs, user, system, rss, _ = best[key]
        reference = ("lftp", op) if op.startswith("tree") else ("curl", op)
        ref = throughput(reference)
        mine = throughput(key)
        ratio = f"{mine / ref:.2f}" if ref and mine else ""
        lines.append(
            f"| {tool} | {op} | {secs:.2f} | {mine:.1f} | {user + system:.2f} | {rss / 1024:.1f} | {ratio} |"
        )
    with open(out, "w", encoding="utf-8") as f:
        f.write("\n".join(lines) + "\n")


def cpu_model() -> str:
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as f:
            for line in f:
                if line.startswith("model name"):
                    return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return "unknown CPU"


if __name__ == "__main__":
    main()

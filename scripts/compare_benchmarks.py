"""Runs the benchmark programs of a build and sets each of our figures beside its peer's.

usage: compare_benchmarks.py BUILD_DIR [FILTER]

Benchmarks are named "work|ombrel" and "work|peer", with equal arguments. A row shows the median times of one
run and the ratio peer/ours. Servers of HTTP are measured by wrk, in turns with their peers.
"""
import json
import os
import pathlib
import re
import subprocess
import sys

import compare_http_servers

REPETITIONS = os.environ.get("REPETITIONS", "7")
MIN_TIME = os.environ.get("MIN_TIME", "0.05")
UNITS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
ROW = "{:<46} {:>11} {:>24} {:>11} {:>7}"


def run_program(path, work_filter):
    command = [
        str(path),
        "--benchmark_format=json",
        "--benchmark_repetitions=" + REPETITIONS,
        "--benchmark_min_time=" + MIN_TIME,
        "--benchmark_enable_random_interleaving=true",
    ]
    if work_filter:
        command.append("--benchmark_filter=" + work_filter)
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    if result.returncode != 0 or not result.stdout.strip():
        return []
    return json.loads(result.stdout)["benchmarks"]


def median_times(benchmarks):
    """{work with its arguments: {who: nanoseconds}}"""
    table = {}
    for entry in benchmarks:
        if entry.get("aggregate_name") != "median" or "|" not in entry["run_name"]:
            continue
        work, rest = entry["run_name"].split("|", 1)
        who, *arguments = [part for part in rest.split("/") if part != "real_time"]
        key = " ".join([work] + arguments)
        table.setdefault(key, {})[who] = entry["real_time"] * UNITS[entry["time_unit"]]
    return table


def show_time(nanoseconds):
    for unit in ("s", "ms", "us"):
        if nanoseconds >= UNITS[unit]:
            return f"{nanoseconds / UNITS[unit]:.2f} {unit}"
    return f"{nanoseconds:.2f} ns"


def show_rows(table):
    for work, times in table.items():
        ours = times.pop("ombrel", None)
        if ours is None:
            continue
        for who, peer in times.items():
            print(ROW.format(work, show_time(ours), who, show_time(peer), f"{peer / ours:.2f}"), flush=True)


def show_servers(build, work_filter):
    """What wrk measures: each server in turns with its peer."""
    def wanted(name):
        return re.search(work_filter, name) is not None

    rows = compare_http_servers.service_rows(build) if wanted("status service") else []
    for row in rows + compare_http_servers.nginx_rows(build, wanted):
        print(ROW.format(*row), flush=True)


def main():
    build = pathlib.Path(sys.argv[1])
    work_filter = sys.argv[2] if len(sys.argv) > 2 else ""
    print(ROW.format("work", "ours", "peer", "peer's", "ratio"))
    for path in sorted((build / "bench").glob("*_bench")):
        show_rows(median_times(run_program(path, work_filter)))
    show_servers(build, work_filter)


if __name__ == "__main__":
    main()

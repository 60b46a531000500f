"""Runs the benchmark programs of a build and sets each of our figures beside its peer's.

usage: compare_benchmarks.py BUILD_DIR [FILTER]

Benchmarks are named "work|ombrel" and "work|peer", with equal arguments. A row shows the median times of one
run and the ratio peer/ours. The status service is measured by wrk, in turns with its peer.
"""
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import time
import urllib.request

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


def measure_server(command, port, keep_answer=None):
    """Requests a second that wrk makes on a server that is started for it: 64 connections for 3 seconds."""
    url = f"http://127.0.0.1:{port}/heap"
    server = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        time.sleep(0.5)
        wrk = subprocess.Popen(["wrk", "-t1", "-c64", "-d3s", url], stdout=subprocess.PIPE, text=True)
        if keep_answer is not None:
            time.sleep(1)
            keep_answer.write_bytes(urllib.request.urlopen(url).read())
        output, _ = wrk.communicate()
        return float(re.search(r"Requests/sec:\s*([0-9.]+)", output).group(1))
    finally:
        server.terminate()
        server.wait()


def show_service(build):
    """Both servers in turns; the peer sends the bytes that the service sent under the same load."""
    service = build / "examples/status_service"
    peer = build / "bench/evhttp_peer"
    if not service.exists() or not peer.exists():
        return
    answer = build / "heap_answer.txt"
    ours, peers = [], []
    for _ in range(3):
        ours.append(measure_server([service, "127.0.0.1", "18080"], 18080, answer))
        peers.append(measure_server([peer, "18081", answer], 18081))
    mine, other = statistics.median(ours), statistics.median(peers)
    print(ROW.format(f"status service /heap ({answer.stat().st_size} B), wrk 64", f"{mine:.0f} r/s", "evhttp",
                     f"{other:.0f} r/s", f"{mine / other:.2f}"))


def main():
    build = pathlib.Path(sys.argv[1])
    work_filter = sys.argv[2] if len(sys.argv) > 2 else ""
    print(ROW.format("work", "ours", "peer", "peer's", "ratio"))
    for path in sorted((build / "bench").glob("*_bench")):
        show_rows(median_times(run_program(path, work_filter)))
    if not work_filter or work_filter in "status service":
        show_service(build)


if __name__ == "__main__":
    main()

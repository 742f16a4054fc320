"""vg-webd beside vg-mgmt: the latency of `status` and of a no-change apply
(median and 99th percentile), the server's resident memory idle and with 50
clients at once, and the page's size.

Usage: python3 bench/webd_bench.py BUILD_DIR [ROUNDS]"""
import json
import os
import statistics
import subprocess
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "web"))
from webd_harness import Console  # noqa: E402

BUILD = sys.argv[1]
ROUNDS = int(sys.argv[2]) if len(sys.argv) > 2 else 200
ROOT = os.path.join(os.path.dirname(__file__), "..")
WWW = os.path.join(ROOT, "tools", "web", "www")


def timed(run, rounds):
    took = []
    for _ in range(rounds):
        start = time.perf_counter()
        run()
        took.append((time.perf_counter() - start) * 1000)
    took.sort()
    return statistics.median(took), took[min(len(took) - 1, int(len(took) * 0.99))]


def rss_kib(pid):
    with open("/proc/%d/status" % pid) as f:
        return int([line for line in f if line.startswith("VmRSS:")][0].split()[1])


def main():
    c = Console(os.path.join(BUILD, "tools", "vg-webd"), os.path.join(BUILD, "host", "kestd", "kestd"), WWW,
                "--max-clients", "128")
    try:
        admin = c.login("admin")
        doc = admin.result("config.export", show_secrets=True)
        path = os.path.join(c.dir.name, "doc.json")
        with open(path, "w") as f:
            json.dump(doc, f)
        vgm = os.path.join(BUILD, "tools", "vg-mgmt")
        rows = [
            ("status, API", lambda: admin.result("status")),
            ("status, vg-mgmt --json", lambda: subprocess.run([vgm, "status", "--json"], env=c.env(),
                                                               capture_output=True, check=True)),
            ("no-change apply, API", lambda: admin.result("config.apply", document=doc, confirm=0)),
            ("no-change apply, vg-mgmt", lambda: subprocess.run([vgm, "config", "apply", path], env=c.env(),
                                                                 capture_output=True, check=True)),
        ]
        print("| work | median ms | p99 ms |\n|---|---|---|")
        for name, run in rows:
            median, p99 = timed(run, ROUNDS)
            print("| %s | %.1f | %.1f |" % (name, median, p99))
        idle = rss_kib(c.proc.pid)
        peak, stop, calls = [idle], threading.Event(), [0]
        sessions = [c.login("viewer") for _ in range(50)]

        def client(s, source):  # 10 clients per address: within the limit of each address
            while not stop.is_set():
                c.rpc("status", cookie=s.cookie, csrf=s.csrf, source=source)
                calls[0] += 1

        threads = [threading.Thread(target=client, args=(s, ("127.0.0.%d" % (2 + i // 10), 0)))
                   for i, s in enumerate(sessions)]
        for t in threads:
            t.start()
        end = time.monotonic() + 10
        while time.monotonic() < end:
            peak.append(rss_kib(c.proc.pid))
            time.sleep(0.1)
        stop.set()
        for t in threads:
            t.join()
        print("\nresident memory: %d KiB idle, %d KiB at most with 50 clients calling status (%d calls in 10 s)"
              % (idle, max(peak), calls[0]))
        size = sum(os.path.getsize(os.path.join(WWW, f)) for f in os.listdir(WWW))
        print("page: %d bytes in %d files" % (size, len(os.listdir(WWW))))
    finally:
        c.stop()


main()

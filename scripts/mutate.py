#!/usr/bin/env python3
"""Mutation testing of the library, kestd and the web console: does a small fault make a test fail?

    scripts/mutate.py [--build DIR] [--seed N] [--count N] [--files GLOB ...]
                      [--part PREFIX] [--timeout S] [--report FILE.json] [--list]

Each mutant is one small change in one source line:
  - an operator swapped (== !=, < <=, > >=, && ||, + -),
  - an integer constant off by one,
  - `return -1` made `return 0`, `return false` and `return true` swapped,
  - a statement that is only a call removed.
Comments, strings, preprocessor lines, static_asserts and log formats are
left alone. The sample is drawn with a fixed seed (the same sources and seed
give the same mutants), shared evenly between the library and kestd and spread over the files of each
in proportion to their sites.

For each mutant the file is changed in place, only what depends on it is
rebuilt (ninja), and the tests of its part run: the library's unit tests for
src/; for host/kestd/, kestd's tests, its command line's and the end-to-end
ones of every command and event. --part runs only the mutants of one part
(src/, host/kestd/, or tools/web/ with the console's API tests) of the same sample. A failing test kills the mutant, so
does a hang (the time-out); a mutant that does not compile is "invalid" and
not counted. The file is put back whatever happens. The build folder is
configured on first use (RelWithDebInfo, ccache when installed).

Prints a table per file (mutants, killed, survived, invalid, score) and the
survivors; --report writes the same as JSON.
"""
import argparse
import glob
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# Which tests cover which part: (path prefix, build targets, ctest regex).
# kestd's mutants meet its own tests and the ones that drive it whole: its
# command line, every command and event through the library, and the tool's
# settings (with the factory configuration it keeps).
PARTS = [
    ("src/", ["test_commands", "test_client", "test_domains", "test_alloc"],
     r"^test_(commands|client|domains|alloc)$"),
    ("host/kestd/", ["kestd", "kestctl", "test_kestd", "test_kestd_lan_rule", "test_kestd_check",
                     "test_kestd_admit", "test_e2e_commands", "test_e2e_events", "test_cli",
                     "test_cli_settings"],
     r"^(test_kestd(_lan_rule|_check|_admit)?|kestctl_usage|test_e2e_(commands|events)"
     r"|test_cli(_settings)?)$"),
    # The web console's sessions, users, calls and routes meet its API tests.
    ("tools/web/", ["vg-webd", "kestd", "kestctl", "vg-mgmt"], r"^test_webd_api$"),
]
DEFAULT_FILES = ["src/*.cpp", "src/vg_mgmt_*.h", "host/kestd/kestd_*.cpp"]

SKIP_LINE = re.compile(r"^\s*(#|//|\*|/\*)|static_assert|KEST_WIRE_|VG_LOG|VG_FMT|VG_TRANSPORT|KEST_CALL\(")
STRING = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)*\'')
OPERATORS = [
    (r"==", "!="), (r"!=", "=="), (r" <= ", " < "), (r" < ", " <= "),
    (r" >= ", " > "), (r" > ", " >= "), (r"&&", "||"), (r"\|\|", "&&"),
    (r" \+ ", " - "), (r" - ", " + "),
]
NUMBER = re.compile(r"(?<![\w.])(\d+)(?![\w.'])")
RETURNS = [(r"return -1;", "return 0;"), (r"return false;", "return true;"),
           (r"return true;", "return false;")]
CALL = re.compile(r"^(\s*)(?!return\b|if\b|while\b|for\b|switch\b|case\b|else\b|delete\b)"
                  r"[A-Za-z_][\w:.>-]*\s*\(.*\);\s*$")


def blank_strings(line):
    """The line with string and character literals blanked, same length."""
    return STRING.sub(lambda m: '"' + " " * (len(m.group(0)) - 2) + '"', line)


def code_part(line):
    """The line up to a // comment (outside strings)."""
    bare = blank_strings(line)
    cut = bare.find("//")
    return cut if cut >= 0 else len(line)


def sites_of(path):
    """Every (line number, column, old text, new text, kind) of one file."""
    sites = []
    with open(path, encoding="utf-8") as f:
        lines = f.read().split("\n")
    in_block = False
    for no, line in enumerate(lines):
        if "/*" in line and "*/" not in line:
            in_block = True
        if in_block:
            in_block = "*/" not in line
            continue
        if SKIP_LINE.search(line) or line.rstrip().endswith("\\"):
            continue
        bare = blank_strings(line)[: code_part(line)]
        for pat, new in OPERATORS:
            for m in re.finditer(pat, bare):
                if "operator" in bare or "template" in bare or "->" in bare[m.start():m.end() + 1]:
                    continue
                sites.append((no, m.start(), m.group(0), new, "operator"))
        for m in NUMBER.finditer(bare):
            n = int(m.group(1))
            if "[" in bare[max(0, m.start() - 1):m.start()]:
                continue  # an array's size: a changed size is a different record
            sites.append((no, m.start(), m.group(1), str(n + 1 if n == 0 or no % 2 else n - 1),
                          "constant"))
        for pat, new in RETURNS:
            for m in re.finditer(re.escape(pat), bare):
                sites.append((no, m.start(), pat, new, "return"))
        if CALL.match(bare) and bare.count("(") == bare.count(")"):
            indent = len(line) - len(line.lstrip())
            sites.append((no, indent, line[indent:], ";", "removed call"))
    return lines, sites


def draw(files, count, seed):
    """A fixed sample of mutants: the count shared evenly between the parts
    (library, kestd), and within a part spread over its files by their sites."""
    rng = random.Random(seed)
    per_file = {f: sites_of(os.path.join(ROOT, f)) for f in files}
    parts = [[f for f in files if f.startswith(prefix)] for prefix, _, _ in PARTS]
    parts = [p for p in parts if p]
    chosen = []
    for i, part in enumerate(parts):
        share = count // len(parts) + (1 if i < count % len(parts) else 0)
        total = sum(len(per_file[f][1]) for f in part) or 1
        picked = []
        for f in part:
            sites = per_file[f][1]
            quota = min(len(sites), max(1, round(share * len(sites) / total))) if sites else 0
            picked += [(f, site) for site in sorted(rng.sample(sites, quota))]
        while len(picked) > share:
            picked.pop(rng.randrange(len(picked)))
        chosen += picked
    return per_file, chosen


def part_of(path):
    for prefix, targets, tests in PARTS:
        if path.startswith(prefix):
            return targets, tests
    sys.exit(f"mutate: no tests are known for {path}")


def run(cmd, timeout):
    """The exit status, or None on a time-out. The command runs in a process
    group of its own, which is killed when it ends: a mutant that makes a
    service spin must not leave it running behind its test."""
    proc = subprocess.Popen(cmd, cwd=ROOT, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                            start_new_session=True)
    try:
        return proc.wait(timeout=timeout)
    except subprocess.TimeoutExpired:
        return None
    finally:
        try:
            os.killpg(proc.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        proc.wait()


def configure(build):
    if os.path.exists(os.path.join(build, "build.ninja")):
        return
    cmd = ["cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo"]
    if shutil.which("ccache"):
        cmd += ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DCMAKE_C_COMPILER_LAUNCHER=ccache"]
    subprocess.run(cmd, check=True, stdout=subprocess.DEVNULL)


def try_mutant(build, path, lines, site, timeout):
    no, col, old, new, _ = site
    targets, tests = part_of(path)
    full = os.path.join(ROOT, path)
    changed = list(lines)
    changed[no] = lines[no][:col] + new + lines[no][col + len(old):]
    original = "\n".join(lines)
    try:
        with open(full, "w", encoding="utf-8") as f:
            f.write("\n".join(changed))
        if run(["cmake", "--build", build, "-j2", "--target", *targets], 600) != 0:
            return "invalid"
        rc = run(["ctest", "--test-dir", build, "-j2", "-R", tests, "--timeout", str(timeout)],
                 timeout * 4)
        return "survived" if rc == 0 else "killed"
    finally:
        with open(full, "w", encoding="utf-8") as f:
            f.write(original)
        os.utime(full)


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--build", default=os.path.join(ROOT, "build", "mutate"))
    ap.add_argument("--seed", type=int, default=24)
    ap.add_argument("--count", type=int, default=150)
    ap.add_argument("--files", nargs="+", default=DEFAULT_FILES)
    ap.add_argument("--part", help="only the sample's mutants under this path prefix")
    ap.add_argument("--timeout", type=int, default=60)
    ap.add_argument("--report")
    ap.add_argument("--list", action="store_true", help="print the sample and stop")
    args = ap.parse_args()
    # A termination unwinds like an error, so the changed file is put back.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("mutate: terminated"))

    files = sorted({os.path.relpath(p, ROOT) for g in args.files
                    for p in glob.glob(os.path.join(ROOT, g))})
    dirty = subprocess.run(["git", "status", "--porcelain", "--", *files], cwd=ROOT,
                           capture_output=True, text=True).stdout.strip()
    if dirty and not args.list:
        sys.exit("mutate: these files have uncommitted changes:\n" + dirty)
    per_file, sample = draw(files, args.count, args.seed)
    if args.part:
        sample = [(f, site) for f, site in sample if f.startswith(args.part)]
    if args.list:
        for f, (no, _, old, new, kind) in sample:
            print(f"{f}:{no + 1}: {kind}: {old.strip()} -> {new.strip()}")
        return
    configure(args.build)
    run(["cmake", "--build", args.build, "-j2"], 3600)
    results = {f: {"mutants": 0, "killed": 0, "survived": 0, "invalid": 0} for f in files}
    survivors = []
    started = time.time()
    for i, (f, site) in enumerate(sample, 1):
        outcome = try_mutant(args.build, f, per_file[f][0], site, args.timeout)
        results[f]["mutants"] += 1
        results[f][outcome] += 1
        no, _, old, new, kind = site
        if outcome == "survived":
            survivors.append({"file": f, "line": no + 1, "kind": kind, "from": old.strip(),
                              "to": new.strip()})
        print(f"[{i}/{len(sample)}] {outcome:8} {f}:{no + 1} {kind}: {old.strip()} -> {new.strip()}",
              flush=True)
    report(results, survivors, time.time() - started, args)


def score(r):
    valid = r["killed"] + r["survived"]
    return 100.0 * r["killed"] / valid if valid else None


def report(results, survivors, seconds, args):
    print(f"\n{'file':40} {'mutants':>7} {'killed':>6} {'survived':>8} {'invalid':>7} {'score':>6}")
    total = {"mutants": 0, "killed": 0, "survived": 0, "invalid": 0}
    for f, r in results.items():
        if not r["mutants"]:
            continue
        for k in total:
            total[k] += r[k]
        s = score(r)
        print(f"{f:40} {r['mutants']:7} {r['killed']:6} {r['survived']:8} {r['invalid']:7} "
              f"{'-' if s is None else f'{s:.0f}%':>6}")
    s = score(total)
    print(f"{'all':40} {total['mutants']:7} {total['killed']:6} {total['survived']:8} "
          f"{total['invalid']:7} {'-' if s is None else f'{s:.0f}%':>6}")
    print(f"seed {args.seed}, {seconds:.0f} s")
    for sv in survivors:
        print(f"survived: {sv['file']}:{sv['line']} {sv['kind']}: {sv['from']} -> {sv['to']}")
    if args.report:
        with open(args.report, "w", encoding="utf-8") as f:
            json.dump({"seed": args.seed, "files": results, "total": total,
                       "survivors": survivors, "seconds": round(seconds)}, f, indent=1)


if __name__ == "__main__":
    main()

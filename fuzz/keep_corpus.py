#!/usr/bin/env python3
"""Picks the inputs a fuzz target's kept corpus holds.

    keep_corpus.py [--max N] FUZZER KEPT SCRATCH... [-- FUZZER OPTIONS...]

FUZZER's merge first picks, from the kept corpus folder KEPT and the SCRATCH
folders, the inputs that reach coverage edges the others do not. The edges
each of those reaches on its own are then measured, and KEPT receives the
named inputs already there (seed_*, crash_*, which always stay) and then,
one at a time, the input that reaches the most edges not yet reached (the
smaller on a tie), until every edge is reached or N inputs (default 40) are
kept. Everything else in KEPT is removed. Prints how many edges the kept
inputs reach out of how many all of them do.
"""
import glob
import os
import shutil
import subprocess
import sys
import tempfile


def merge(fuzzer, out, folders, options, control=None):
    extra = ["-merge_control_file=" + control] if control else []
    subprocess.run([fuzzer, "-merge=1", "-use_counters=0", *extra, *options, out, *folders],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def edges_of(fuzzer, path, options, scratch):
    """The coverage edges one input reaches."""
    folder = tempfile.mkdtemp(dir=scratch)
    shutil.copy(path, folder)
    out = tempfile.mkdtemp(dir=scratch)
    # A fresh control file each time: the merge resumes from one it finds.
    control = os.path.join(tempfile.mkdtemp(dir=scratch), "control")
    merge(fuzzer, out, [folder], options, control)
    with open(control) as f:
        for line in f:
            words = line.split()
            if words and words[0] == "COV":
                return set(words[2:])
    return set()


def main():
    args = sys.argv[1:]
    options = args[args.index("--") + 1:] if "--" in args else []
    args = args[:args.index("--")] if "--" in args else args
    limit = 40
    if args[:1] == ["--max"]:
        limit, args = int(args[1]), args[2:]
    if len(args) < 3:
        sys.exit(__doc__)
    fuzzer, kept, folders = args[0], os.path.normpath(args[1]), args[2:]
    with tempfile.TemporaryDirectory() as scratch:
        merged = os.path.join(scratch, "merged")
        os.mkdir(merged)
        merge(fuzzer, merged, [kept, *folders], options)
        named = [p for p in glob.glob(os.path.join(kept, "*"))
                 if os.path.basename(p).startswith(("seed_", "crash_"))]
        candidates = {p: edges_of(fuzzer, p, options, scratch)
                      for p in named + glob.glob(os.path.join(merged, "*"))}
        everything = set().union(*candidates.values())
        picked = list(named)
        reached = set().union(*(candidates[p] for p in named))
        while len(picked) < max(limit, len(named)):
            rest = [p for p in candidates if p not in picked]
            best = max(rest, key=lambda p: (len(candidates[p] - reached), -os.path.getsize(p)),
                       default=None)
            if best is None or not candidates[best] - reached:
                break
            picked.append(best)
            reached |= candidates[best]
        for path in glob.glob(os.path.join(kept, "*")):
            if path not in named:
                os.remove(path)
        for path in picked:
            if path not in named:
                shutil.copy(path, kept)
    print(f"{len(picked)} inputs kept in {kept}: {len(reached)} of {len(everything)} edges")


if __name__ == "__main__":
    main()

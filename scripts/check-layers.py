#!/usr/bin/env python3
"""Fails when a file under src/ includes a header of a folder above its own.

The order is the one ARCHITECTURE.md declares in its "layers" block, top first. A folder may
include its own headers and those of every folder below it. `platform/linux` (the adapters) and
the front ends are leaves: besides main.cpp, nothing in src/ includes them. Qt is included only
under src/ui/qt.
"""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
arch = (root / "ARCHITECTURE.md").read_text(encoding="utf-8")
block = re.search(r"```layers\n(.*?)```", arch, re.S)
if not block:
    sys.exit("check-layers: ARCHITECTURE.md has no ```layers block")
order = [line.split()[0] for line in block.group(1).splitlines() if line[:1].strip()]
rank = {folder: len(order) - i for i, folder in enumerate(order)}
leaves = {"platform/linux", "ui/console", "ui/qt"}

include = re.compile(r'^\s*#\s*include\s*[<"]([^">]+)[">]', re.M)
qt = re.compile(r"^Q[A-Za-z]+(/|$)|^qt[A-Za-z0-9]*/")


def folder_of(rel):
    """The longest declared folder that holds `rel` (a path below src/)."""
    parts = pathlib.PurePosixPath(rel).parts[:-1]
    for n in range(len(parts), 0, -1):
        candidate = "/".join(parts[:n])
        if candidate in rank:
            return candidate
    return None


faults = []
src = root / "src"
for path in sorted(src.rglob("*")):
    if path.suffix not in (".h", ".cpp", ".hpp") or not path.is_file():
        continue
    rel = path.relative_to(src).as_posix()
    own = folder_of(rel)
    if own is None and rel != "main.cpp":
        faults.append(f"{rel}: its folder is not in the declared layer order")
        continue
    for target in include.findall(path.read_text(encoding="utf-8", errors="replace")):
        if qt.match(target) and own != "ui/qt":
            faults.append(f"{rel}: includes Qt ({target}) outside src/ui/qt")
            continue
        if not (src / target).exists():
            continue  # a system or library header
        theirs = folder_of(target)
        if rel == "main.cpp" or theirs is None or theirs == own:
            continue
        if theirs in leaves:
            faults.append(f"{rel}: includes {target}, which only main.cpp may")
        elif rank[theirs] > rank[own]:
            faults.append(f"{rel}: includes {target}, from {theirs} above {own}")

for fault in faults:
    print(fault)
if faults:
    print(f"check-layers: {len(faults)} include(s) against the declared order", file=sys.stderr)
    sys.exit(1)
print(f"check-layers: every include follows the order ({len(order)} layers)")

#!/usr/bin/env python3
"""Fails on an #include that the design does not draw.

Folders may include themselves and what their row names. Headers of other software are not looked
at: only quoted includes count, and they must resolve to a file of this tree.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]

# Whoever uses a layer may also use what that layer uses.
ARROWS = {
    "src/foundation": {"platform"},
    "src/derlist": {"src/foundation"},
    "src/asn": {"src/foundation"},
    "src/schema": {"src/asn"},
    "src/pfxcrypto": {"src/derlist"},
    "src/pfxexport": {"src/pfxcrypto", "src/schema", "src/derlist"},
    "src/pfximport": {"src/pfxcrypto", "src/schema", "src/derlist"},
    "src/log": {"platform"},
    "src/module": {"src/pfxexport", "src/pfximport", "src/log", "include"},
    "platform/capi": {"platform/csp.h", "platform/handles", "platform/oid_rows.h", "platform/state"},
    "platform/handles": set(),
    "platform/state": {"platform"},
    "platform/csp_parameters.h": set(),
    "platform/csp.h": {"platform"},
    "platform/oid_rows.h": {"platform"},
    "platform": {"platform/capi"},
    "provider": {"platform", "platform/csp.h", "platform/csp_parameters.h", "platform/handles",
                 "platform/oid_rows.h", "platform/state"},
    "include": {"platform/capi"},
    "tools/mvlpfx": {"include", "platform", "platform/csp_parameters.h", "platform/state", "src/derlist", "src/pfximport",
                     "src/schema"},
}


# Where a quoted include is looked for, as the build does.
INCLUDE_ROOTS = ["src", "platform", "include", "tools", "."]


def folder_of(path):
    """The row of ARROWS that holds a file, the longest that fits."""
    text = path.relative_to(ROOT).as_posix()
    rows = [row for row in ARROWS if text == row or text.startswith(row + "/")]
    return max(rows, key=len) if rows else None


def reachable(folder):
    found, new = set(), {folder}
    while new:
        found |= new
        new = set().union(*(ARROWS[row] for row in new)) - found
    return found


def resolve(source, name):
    for base in [source.parent] + [ROOT / root for root in INCLUDE_ROOTS]:
        if (base / name).is_file():
            return (base / name).resolve()
    return None


def main():
    faults, arrows = [], 0
    tops = {row.split("/")[0] for row in ARROWS}
    for source in sorted(path for top in tops for suffix in ("*.h", "*.cpp", "*.c")
                         for path in (ROOT / top).rglob(suffix)):
        folder = folder_of(source)
        if folder is None:
            continue
        for number, line in enumerate(source.read_text().splitlines(), 1):
            match = re.match(r'\s*#\s*include\s*(?:"([^"]+)"|<((?:capi|mvlpfx)/[^>]+)>)', line)
            if not match:
                continue
            name = match.group(1) or match.group(2)
            target = resolve(source, name)
            where = f"{source.relative_to(ROOT)}:{number}"
            if target is None:
                faults.append(f"{where}: \"{name}\" is not in this tree")
                continue
            to = folder_of(target)
            arrows += 1
            if to not in reachable(folder):
                faults.append(f"{where}: {folder} must not include {to or target} ({name})")
    print(f"{arrows} includes looked at")
    print("\n".join(faults))
    return 1 if faults or arrows == 0 else 0


if __name__ == "__main__":
    sys.exit(main())

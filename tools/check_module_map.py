#!/usr/bin/env python3
"""The tables of docs/module-map.md name exactly the files under brvcore/<folder>/. Prints each difference, exits 1 on any."""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MAP = ROOT / "docs" / "module-map.md"
NAME = re.compile(r"`(\w+)(\.h|\.cpp|\.def)(/\.cpp)?`")


def mapped_files():
    """Folder -> the files in the first column of its table."""
    files, folder = {}, None
    for line in MAP.read_text(encoding="utf-8").splitlines():
        if line.startswith("## "):
            folder = line[3:].strip()
        elif line.startswith("|"):
            for stem, suffix, pair in NAME.findall(line.split("|")[1]):
                files.setdefault(folder, set()).update([stem + suffix] + ([stem + ".cpp"] if pair else []))
    return files


def main():
    mapped, problems = mapped_files(), []
    folders = {path.parent.name for path in (ROOT / "brvcore").glob("*/*")}
    for folder in sorted(folders | set(mapped)):
        there = {p.name for p in (ROOT / "brvcore" / folder).glob("*") if p.suffix in (".h", ".cpp", ".def")}
        named = mapped.get(folder, set())
        problems += [f"brvcore/{folder}/{name} is not in {MAP.name}" for name in sorted(there - named)]
        problems += [f"{MAP.name} names brvcore/{folder}/{name}, which is not there" for name in sorted(named - there)]
    print("\n".join(problems) if problems else "Module map: in order.")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())

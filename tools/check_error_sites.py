#!/usr/bin/env python3
"""Each code of ErrorSites.def belongs to exactly one throw site, and each throw site has its line. Exits 1 otherwise."""
import re
import sys
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
LIST = ROOT / "brvcore" / "foundation" / "ErrorSites.def"
ENTRY = re.compile(r'^BRV_ERROR_SITE\((0x[0-9A-F]{8}), "([a-z]+/\w+)"\)$')
USE = re.compile(r"\bBRV_LOGIC_(?:ASSERT|ERROR)\s*\(\s*(0x[0-9A-Fa-f]+)")
COMMENT = re.compile(r"//[^\n]*")


def blank(match):
    return " " * len(match[0])


def main():
    problems, listed, uses = [], {}, defaultdict(list)
    for number, line in enumerate(LIST.read_text(encoding="utf-8").splitlines(), 1):
        if not line.strip() or line.startswith("//"):
            continue
        entry = ENTRY.match(line)
        if not entry:
            problems.append(f'{LIST.name}:{number}: not of the form BRV_ERROR_SITE(0x1234ABCD, "folder/Header")')
        elif entry[1] in listed:
            problems.append(f"{LIST.name}:{number}: {entry[1]} stands twice")
        else:
            listed[entry[1]] = entry[2]
            if not (ROOT / "brvcore" / f"{entry[2]}.h").exists():
                problems.append(f"{LIST.name}:{number}: there is no brvcore/{entry[2]}.h")

    for path in sorted(p for p in (ROOT / "brvcore").rglob("*") if p.suffix in (".h", ".cpp")):
        text = COMMENT.sub(blank, path.read_text(encoding="utf-8"))
        for match in USE.finditer(text):
            line = text.count("\n", 0, match.start()) + 1
            uses[match[1]].append(f"{path.relative_to(ROOT)}:{line}")

    for code, places in uses.items():
        if code not in listed:
            problems.append(f"{places[0]}: {code} is not in {LIST.name}")
        if len(places) > 1:
            problems.append(f"{code} is used more than once: {', '.join(places)}")
    problems += [f"{LIST.name}: {code} ({listed[code]}) is used nowhere" for code in listed if code not in uses]

    print("\n".join(problems) if problems else f"Error sites: {len(listed)}, all in order.")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())

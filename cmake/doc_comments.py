#!/usr/bin/env python3
"""Doxygen input filter: a plain // comment before or behind a declaration becomes its documentation.

Comments in the headers are written for someone who reads the header, so nothing in them is a Doxygen command or HTML.
"""
import re
import sys

SPECIAL = re.compile(r"([\\@<>#&$%\"|])")
WHOLE_LINE = re.compile(r"^(\s*)//(?!/)(.*)$")
TRAILING = re.compile(r"^(.*?[;,{}(\w)]\s{1,})//(?!/)(.*)$")

STD_HASH = re.compile(r"^template <>\s*struct std::hash<.*?^};", re.S | re.M)   # Doxygen 1.9 loses the scope of these


def escape(text):
    return SPECIAL.sub(r"\\\1", text).replace("::", r"\::")


def main():
    path = sys.argv[1]
    with open(path, encoding="utf-8") as file:
        text = file.read()
    if path.endswith(".md"):
        sys.stdout.write(text)
        return
    text = STD_HASH.sub(lambda match: "\n" * match[0].count("\n"), text)
    for line in text.splitlines():
        match = WHOLE_LINE.match(line)
        if match:
            line = f"{match[1]}///{escape(match[2])}"
        elif '"' not in line and (match := TRAILING.match(line)) and match[1].rstrip().endswith((";", ",")):
            line = f"{match[1]}///<{escape(match[2])}"
        print(line)


if __name__ == "__main__":
    main()

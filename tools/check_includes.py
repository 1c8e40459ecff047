#!/usr/bin/env python3
"""Compares the #include lines under brvcore/ and tools/ with docs/include-rules.txt. Prints each breach, exits 1 on any."""
import re
import sys
from fnmatch import fnmatchcase
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
RULES = ROOT / "docs" / "include-rules.txt"
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
HEADER_SET = re.compile(r"FILE_SET HEADERS.*?FILES(.*?)(?:\bPRIVATE\b|\))", re.S)


def read_rules():
    folders, parties, system = {}, {}, []
    for number, line in enumerate(RULES.read_text(encoding="utf-8").splitlines(), 1):
        line = line.split("#")[0].strip()
        if not line:
            continue
        kind, _, rest = line.partition(" ")
        if kind == "folder":
            name, _, allowed = rest.partition(":")
            folders[name.strip()] = allowed.split()
        elif kind == "party":
            name, _, body = rest.partition(":")
            patterns, _, files = body.partition("|")
            parties[name.strip()] = (patterns.split(), files.split())
        elif kind == "system":
            system += rest.split()
        else:
            sys.exit(f"{RULES}:{number}: unknown kind of rule '{kind}'")
    return folders, parties, system


def any_match(name, patterns):
    return any(fnmatchcase(name, pattern) for pattern in patterns)


def public_headers(folder):
    """Names in the folder's FILE_SET HEADERS."""
    listing = ROOT / "brvcore" / folder / "CMakeLists.txt"
    if not listing.exists():
        return set()
    text = re.sub(r"#.*", "", listing.read_text(encoding="utf-8"))
    return {name for files in HEADER_SET.findall(text) for name in files.split()}


def check_own(folder, target, allowed):
    """An include of "brvcore/<target>"; returns what is wrong with it, or None."""
    if not (ROOT / "brvcore" / target).exists() and target != "Version.h":
        return "no such file"
    owner = target.split("/")[0]
    if owner in (folder, "Version.h") or owner in allowed or target in allowed:
        return None
    return f"{folder} may include {', '.join(allowed) or 'itself'} alone"


def check_library(rules):
    folders, parties, system = rules
    problems = []
    for path in sorted((ROOT / "brvcore").glob("*/*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        folder, name = path.parent.name, f"{path.parent.name}/{path.name}"
        if folder not in folders:
            problems.append(f"{path.relative_to(ROOT)}: the folder is not in {RULES.name}")
            continue
        is_public = path.name in public_headers(folder)
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            mark, target = match.groups()
            problem = None
            if target.startswith("brvcore/"):
                problem = check_own(folder, target.removeprefix("brvcore/"), folders[folder])
                own_folder, _, own_name = target.removeprefix("brvcore/").partition("/")
                if not problem and is_public and own_name and not own_name.endswith(".def"):
                    if own_name not in public_headers(own_folder):
                        problem = "a public header includes a private one"
            elif mark == '"':
                problem = "own files are included from the root, as \"brvcore/<folder>/X.h\""
            elif "/" in target or target.endswith((".h", ".hpp")) or target[0].isupper():
                party = next((p for p, (patterns, _) in parties.items() if any_match(target, patterns)), None)
                if party is None:
                    problem = None if any_match(target, system) else "an unlisted third party"
                elif not any_match(name, parties[party][1]):
                    problem = f"{party} may be included in {', '.join(parties[party][1])} alone"
                elif is_public:
                    problem = "a public header includes a third party"
            if problem:
                problems.append(f"{path.relative_to(ROOT)}:{number}: {target}: {problem}")
    return problems


def check_tools():
    """A host sees public headers alone."""
    problems = []
    for path in sorted(p for top in ("tools", "examples") for p in (ROOT / top).rglob("*") if p.suffix in (".h", ".cpp")):
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if match and match[2].startswith("brvcore/") and match[2] != "brvcore/Version.h":
                _, folder, name = match[2].split("/", 2)
                if name not in public_headers(folder):
                    problems.append(f"{path.relative_to(ROOT)}:{number}: {match[2]}: not a public header")
    return problems


def main():
    problems = check_library(read_rules()) + check_tools()
    print("\n".join(problems) if problems else "Include directions: in order.")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())

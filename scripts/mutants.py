#!/usr/bin/env python3
"""Plants faults in the source, one at a time, and tells which of them no test notices.

    scripts/mutants.py --seed 7 --count 50 [--preset release] [--list]

The faults are chosen by the seed over all rooms, each in a line of code by itself. The work tree must be clean, and is
clean again afterwards. A fault that does not compile counts for nothing; one that survives is printed with its place,
for a person to judge whether it changes anything at all.
"""
import argparse
import pathlib
import random
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]

# What is exchanged, and for what. Templates and streams keep their brackets: operators stand between spaces.
EXCHANGES = [
    (r" == ", " != "), (r" != ", " == "), (r" <= ", " < "), (r" >= ", " > "), (r" < (?!<)", " <= "), (r" > (?!>)", " >= "),
    (r" && ", " || "), (r" \|\| ", " && "), (r"\bif \((?!constexpr)", "if (!("), (r" \+ 1\b", ""), (r" - 1\b", ""),
    (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"\b0\b", "1"), (r"\b1\b", "2"), (r"\b([2-9]|[1-9]\d+)\b", r"(\1 + 1)"),
    (r"return (?!true|false|\{)[^;]+;", "return {};"), (r"\+\+", "--"), (r"\bcontinue;", "break;"), (r" & ", " | "),
    (r"<<(?=U| \d)", ">>"), (r"\.at\(", ".at(1 + "), (r"!(?=[a-zA-Z(])", ""),
]


def code_lines():
    for path in sorted((ROOT / "src").rglob("*.cpp")) + sorted((ROOT / "src").rglob("*.h")):
        for number, line in enumerate(path.read_text().splitlines()):
            text = line.strip()
            if text and not text.startswith(("//", "#", "static_assert", "namespace", "using ", "template", "}")):
                yield path, number, line


def mutate(line, chooser):
    code = line.split("  //")[0]
    quoted = [match.span() for match in re.finditer(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])\'', code)]
    found = []
    for pattern, replacement in EXCHANGES:
        for match in re.finditer(pattern, code):
            if not any(start <= match.start() < end for start, end in quoted):
                found.append((match, replacement))
    # A text of the output, one character different; and a statement left out.
    found += [(match, '"~') for match in re.finditer(r'"(?=[A-Za-z ]{3})', code)
              if "include" not in code and not any(start < match.start() < end for start, end in quoted)]
    if re.fullmatch(r"\s*[\w.:>\-\[\]*]+(\(.*\)| [+|&-]?= .*|<< .*);", code) and not code.strip().startswith("return"):
        found.append((re.match(r"\s*()", code), "// "))
    if not found:
        return None
    match, replacement = chooser.choice(found)
    changed = code[:match.start()] + match.expand(replacement) + code[match.end():]
    if replacement == "// ":
        changed = re.sub(r"\S.*", ";", code, count=1)
    if replacement == "if (!(":
        changed = close_condition(code, match)
    return changed if changed != code else None


def close_condition(code, match):
    """`if (a) b;` to `if (!(a)) b;` where the whole condition is on the line."""
    depth = 0
    for at in range(match.end() - 1, len(code)):
        depth += {"(": 1, ")": -1}.get(code[at], 0)
        if depth == 0:
            return code[:match.start()] + "if (!(" + code[match.end():at] + "))" + code[at + 1:]
    return code


def choose(seed, count):
    chooser = random.Random(seed)
    lines = list(code_lines())
    chosen = {}
    while len(chosen) < count:
        path, number, line = chooser.choice(lines)
        changed = mutate(line, chooser)
        if changed and (path, number) not in chosen:
            chosen[path, number] = changed
    return chosen


def notices(preset):
    """Whether a test fails, does not build or does not end; the quick ones come first."""
    build = subprocess.run(["cmake", "--build", "--preset", preset], cwd=ROOT, capture_output=True, text=True)
    if build.returncode != 0:
        return None
    for choice in (["-L", "quick"], ["-LE", "quick"]):
        test = subprocess.run(["ctest", "--preset", preset, "--stop-on-failure", "--timeout", "120", *choice], cwd=ROOT,
                              capture_output=True, text=True)
        if test.returncode != 0:
            return True
    return False


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--seed", type=int, required=True)
    options.add_argument("--count", type=int, default=50, help="faults that compile")
    options.add_argument("--preset", default="release")
    options.add_argument("--list", action="store_true", help="only show them")
    options = options.parse_args()
    if subprocess.run(["git", "diff", "--quiet"], cwd=ROOT).returncode != 0:
        sys.exit("mutants.py: the work tree has changes; commit them first")
    valid = killed = 0
    for (path, number), changed in choose(options.seed, 3 * options.count).items():
        if valid == options.count:
            break
        lines = path.read_text().split("\n")
        place = f"{path.relative_to(ROOT)}:{number + 1}"
        difference = f"{place}\n  - {lines[number].strip()}\n  + {changed.strip()}"
        if options.list:
            print(difference)
            continue
        original = path.read_text()
        try:
            path.write_text("\n".join(lines[:number] + [changed] + lines[number + 1:]))
            noticed = notices(options.preset)
        finally:
            path.write_text(original)
        if noticed is None:
            continue
        valid += 1
        killed += noticed
        print(f"{'killed  ' if noticed else 'SURVIVED'} {difference if not noticed else place}", flush=True)
    if not options.list:
        print(f"{killed} of {valid} noticed")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Prints a header in the form that Doxygen understands.

usage: scripts/doxygen-filter.py HEADER

- A comment applies to all declarations up to the next empty line or the next comment: they become a member group that shares the comment.
- Declarations that are the same in every class get a line of documentation: the class record, and copies that the compiler makes.

The number of lines does not change, so the line numbers in Doxygen's messages are those of the header.
"""
import re
import sys

OPENS_A_BODY = re.compile(r"\s*(class|struct|enum|union|namespace|extern|typedef struct|#)")
STOPS_A_GROUP = re.compile(r"^\s*(/\*\*|public:|protected:|private:|\};)|= (default|delete);|///<")
RECORD = re.compile(r"^\s*static const JClass class\w+;$")
COPY = re.compile(r"\b(\w+)\(const \1&\) = default;$|operator=\(const \w+&\) = default;$")


def end_of_comment(lines, start):
    while "*/" not in lines[start]:
        start += 1
    return start


def end_of_group(lines, first):
    """The last of the declarations that begin at a line."""
    end = first
    while end < len(lines) and lines[end].strip() and not STOPS_A_GROUP.search(lines[end]):
        end += 1
    return end - 1


def group(lines):
    """Puts each row of declarations with one comment between @{ and @}."""
    at = 0
    while at < len(lines):
        if not lines[at].lstrip().startswith("/**"):
            at += 1
            continue
        first = end_of_comment(lines, at) + 1
        last = end_of_group(lines, first)
        row = lines[first:last + 1]
        if len(row) > 1 and not OPENS_A_BODY.match(row[0]) and sum(";" in line or line.rstrip().endswith("}") for line in row) > 1:
            lines[at] = "/**@{*/ " + lines[at]
            lines[last] += " /**@}*/"
        at = max(last, first - 1) + 1
    return lines


def document(line):
    if RECORD.match(line):
        return line + "  ///< The record of this class."
    if COPY.search(line):
        return line + "  ///< Copies."
    return line


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with open(sys.argv[1], encoding="utf-8") as file:
        lines = file.read().splitlines()
    print("\n".join(group([document(line) for line in lines])))


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Generates Src/POIEngine/PinyinLevel2Table.cpp: the GB2312 level-2 characters
(lead bytes 0xD8-0xF7, trail bytes 0xA1-0xFE) grouped by the initial letter of
their first pinyin reading in pinyin-pro, and prints the count per letter.

Usage: python3 Scripts/gen-pinyin-level2.py [PINYIN_PRO_DIR]
Without an argument it runs `npm pack pinyin-pro` in a temporary directory.
"""

import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import pinyinpro  # noqa: E402

LETTERS = "ABCDEFGHJKLMNOPQRSTWXYZ"
OUTPUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..",
                      "Src", "POIEngine", "PinyinLevel2Table.cpp")
CHARS_PER_LINE = 16


def literal_lines(codes):
    """The GBK bytes of `codes` as C string literals of \\x escapes, one line each."""
    lines = []
    for i in range(0, len(codes), CHARS_PER_LINE):
        part = codes[i:i + CHARS_PER_LINE]
        lines.append('"' + "".join(f"\\x{c >> 8:02X}\\x{c & 0xFF:02X}" for c in part) + '"')
    return lines or ['""']


def main():
    tmp, package, version = pinyinpro.with_package(sys.argv, __doc__)
    with tmp:
        codes = pinyinpro.codes(0xD8, 0xF7)
        chars = [pinyinpro.gb2312_char(c) for c in codes]
        if None in chars:
            sys.exit("GB2312 level-2 row with an unassigned code")
        readings = pinyinpro.readings(package, chars)

    lists = {letter: [] for letter in LETTERS}
    without = []
    for code, reading in zip(codes, readings):
        letter = reading[0][0].upper() if reading else None
        if letter in lists:
            lists[letter].append(code)
        else:
            without.append(code)

    out = [
        "// Generated file: do not edit.",
        f"// Made by `python3 Scripts/gen-pinyin-level2.py` from pinyin-pro {version} (npm, MIT).",
        "// GB2312 level-2 characters (lead bytes 0xD8-0xF7) in code order, grouped by",
        "// the initial letter of their first reading; each character stands in one list.",
        f"// {sum(len(v) for v in lists.values())} characters in the lists; "
        f"{len(without)} without a reading stand in none.",
        "",
        '#include "POIEngine/PinyinLevel2Table.h"',
        "",
        "namespace Kest {",
        "",
        f'const char kPinyinLevel2Letters[] = "{LETTERS}";',
        "",
        "const char* const kPinyinLevel2Lists[kPinyinLevel2ListCount] = {",
    ]
    for letter in LETTERS:
        out.append(f"    // {letter}: {len(lists[letter])} characters")
        lines = literal_lines(lists[letter])
        out += ["    " + line for line in lines[:-1]]
        out.append("    " + lines[-1] + ",")
    out += ["};", "", "} // namespace Kest", ""]
    with open(OUTPUT, "w", encoding="ascii", newline="\n") as f:
        f.write("\n".join(out))

    print(f"pinyin-pro {version}: wrote {os.path.normpath(OUTPUT)}")
    for letter in LETTERS:
        print(f"{letter} {len(lists[letter])}")
    print(f"total {sum(len(v) for v in lists.values())}, without a letter {len(without)}")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Generates Src/Compiler/PinyinVariantTable.cpp: what pinyin-pro's character
and phrase data say about the initials of GBK text where they differ from the
engine's tables (GetPYInitial):

- characters: every GBK Chinese character whose set of reading initials is not
  just the engine's letter (no letter in the engine, another letter, or a
  polyphone), with the initials of all its readings, first reading first;
- phrases: every phrase of pinyin-pro's phrase data whose initials differ from
  those of its characters read one by one (engine letter, else first reading).

Usage: python3 Scripts/gen-pinyin-variants.py [PINYIN_PRO_DIR]
Without an argument it runs `npm pack pinyin-pro` in a temporary directory.
"""

import json
import os
import re
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import pinyinpro  # noqa: E402

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
OUTPUT = os.path.join(ROOT, "Src", "Compiler", "PinyinVariantTable.cpp")
LEVEL2 = os.path.join(ROOT, "Src", "POIEngine", "PinyinLevel2Table.cpp")
LEVEL1 = [(0xA1A0, 0xA9F5, None)] + list(zip(
    [0xB0A1, 0xB0C5, 0xB2C1, 0xB4EE, 0xB6EA, 0xB7A2, 0xB8C1, 0xB9FE, 0xBBF7, 0xBFA6, 0xC0AC, 0xC2E8,
     0xC4C3, 0xC5B6, 0xC5BE, 0xC6DA, 0xC8BB, 0xC8F6, 0xCBFA, 0xCDDA, 0xCEF4, 0xD1B9, 0xD4D1],
    [0xB0C4, 0xB2C0, 0xB4ED, 0xB6E9, 0xB7A1, 0xB8C0, 0xB9FD, 0xBBF6, 0xBFA5, 0xC0AB, 0xC2E7, 0xC4C2,
     0xC5B5, 0xC5BD, 0xC6D9, 0xC8BA, 0xC8F5, 0xCBF9, 0xCDD9, 0xCEF3, 0xD1B8, 0xD4D0, 0xD7F9],
    "ABCDEFGHJKLMNOPQRSTWXYZ"))
PER_LINE = 10

# Node program: the phrases of pinyin-pro's phrase data (keys of two or more
# Chinese characters with a reading in its bundled dictionaries), each with the
# initials pinyin-pro gives the phrase as a whole.
_NODE_PHRASES = r"""
const fs = require("fs");
const { pinyin } = require(process.argv[1]);
const src = fs.readFileSync(process.argv[1], "utf8");
const re = /[{,]"?([\u3400-\u9fff]{2,})"?:"[a-z\u00e0-\u01dc\u1e3f ]+"/g;
const seen = new Set();
let m;
while ((m = re.exec(src))) seen.add(m[1]);
const out = [...seen].sort().map(w => [w, pinyin(w, { pattern: "first", toneType: "none", type: "array" })]);
process.stdout.write(JSON.stringify(out));
"""


def engine_lists():
    """The engine's level-2 letter lists as byte strings, in letter order."""
    text = open(LEVEL2, encoding="ascii").read()
    body = text[text.index("kPinyinLevel2Lists"):]
    lists = []
    for part in re.split(r"//\s*[A-Z]: \d+ characters", body)[1:]:
        escapes = re.findall(r"\\x([0-9A-F]{2})", part.split(",\n")[0])
        lists.append(bytes(int(h, 16) for h in escapes))
    return lists


def engine_initial(code, lists):
    """GetPYInitial of the engine: level-1 ranges, then the first-occurrence rule."""
    for first, last, letter in LEVEL1:
        if first <= code <= last:
            return letter
    pair = bytes([code >> 8, code & 0xFF])
    for letter, chars in zip("ABCDEFGHJKLMNOPQRSTWXYZ", lists):
        at = chars.find(pair)
        if at >= 0 and at % 2 == 0:
            return letter
    return None


def initials(readings):
    out = ""
    for r in readings:
        c = r[0].upper()
        if c.isalpha() and c not in out:
            out += c
    return out


def entry(gbk, letters):
    """A C string literal of the GBK bytes (escaped) followed by the letters."""
    return '"' + "".join(f"\\x{b:02X}" for b in gbk) + '" "' + letters + '"'


def lines_of(entries):
    out = []
    for i in range(0, len(entries), PER_LINE):
        out.append("    " + " ".join(e + "," for e in entries[i:i + PER_LINE]))
    return out


def main():
    tmp, package, version = pinyinpro.with_package(sys.argv, __doc__)
    lists = engine_lists()
    with tmp:
        codes, chars = [], []
        for lead in range(0x81, 0xFF):
            for trail in range(0x40, 0xFF):
                if trail == 0x7F or 0xA1 <= lead <= 0xA9:
                    continue  # the symbol rows carry no reading
                try:
                    ch = bytes([lead, trail]).decode("gbk")
                except UnicodeDecodeError:
                    continue
                codes.append(lead << 8 | trail)
                chars.append(ch)
        readings = pinyinpro.readings(package, chars)
        main_js = os.path.join(os.path.abspath(package), "dist", "index.js")
        run = subprocess.run(["node", "-e", _NODE_PHRASES, main_js], capture_output=True, text=True, check=True)
        phrases = json.loads(run.stdout)

    default = {}  # character -> the letter a name gets for it outside a phrase
    char_entries = []
    for code, ch, reading in zip(codes, chars, readings):
        own = engine_initial(code, lists)
        letters = initials(reading)
        default[ch] = own or (letters[:1] if letters else None)
        if letters and letters != (own or ""):
            # The engine's letter first when it has one: the name's main
            # reading stays the one the engine's refinement computes.
            if own and own in letters:
                letters = own + letters.replace(own, "")
            char_entries.append(entry(bytes([code >> 8, code & 0xFF]), letters))

    phrase_entries = []
    for word, first in phrases:
        try:
            gbk = word.encode("gbk")
        except UnicodeEncodeError:
            continue
        got = "".join(f[:1].upper() for f in first)
        plain = "".join(default.get(c) or "?" for c in word)
        if len(got) == len(word) and got.isalpha() and got != plain and "?" not in plain:
            phrase_entries.append(entry(gbk, got))

    out = [
        "// Generated file: do not edit.",
        f"// Made by `python3 Scripts/gen-pinyin-variants.py` from pinyin-pro {version} (npm, MIT).",
        "// Each entry: GBK bytes, then the upper-case initials (ASCII).",
        f"// {len(char_entries)} characters whose reading initials differ from the engine's letter",
        "// (engine letter first when it has one, then pinyin-pro's readings in order);",
        f"// {len(phrase_entries)} phrases whose initials differ from those of their characters.",
        "",
        '#include "Compiler/PinyinVariantTable.h"',
        "",
        "namespace Kest {",
        "",
        "const char* const kPinyinVariantChars[] = {",
    ]
    out += lines_of(char_entries)
    out += ["};", f"const int kPinyinVariantCharCount = {len(char_entries)};", "",
            "const char* const kPinyinVariantPhrases[] = {"]
    out += lines_of(phrase_entries)
    out += ["};", f"const int kPinyinVariantPhraseCount = {len(phrase_entries)};", "",
            "} // namespace Kest", ""]
    with open(OUTPUT, "w", encoding="ascii", newline="\n") as f:
        f.write("\n".join(out))
    print(f"pinyin-pro {version}: {len(char_entries)} characters, {len(phrase_entries)} phrases "
          f"-> {os.path.normpath(OUTPUT)}")


if __name__ == "__main__":
    main()

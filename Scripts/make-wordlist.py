#!/usr/bin/env python3
"""Derives the default word list Data/words.txt from the jieba dictionary.

Usage: Scripts/make-wordlist.py JIEBA_DICT OUT [MAX_BYTES]

JIEBA_DICT is "word frequency tag" per line (UTF-8), as in the nodejieba npm
package (submodules/cppjieba/dict/jieba.dict.utf8). Kept: words of 2 to 4
characters, every character encodable in GB2312 with a lead byte 0xB0-0xF7
(the hanzi rows), the highest frequency when a word appears twice. Written:
"word frequency" per line, UTF-8, by descending frequency and then by the
word's GBK bytes, as many lines as fit in MAX_BYTES (default 1,500,000).
Same input, same bytes out.
"""
import sys


def is_hanzi_word(word):
    if not 2 <= len(word) <= 4:
        return False
    try:
        gbk = word.encode("gb2312")
    except UnicodeEncodeError:
        return False
    if len(gbk) != 2 * len(word):
        return False
    return all(0xB0 <= gbk[i] <= 0xF7 for i in range(0, len(gbk), 2))


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit("usage: make-wordlist.py JIEBA_DICT OUT [MAX_BYTES]")
    source, out = sys.argv[1], sys.argv[2]
    max_bytes = int(sys.argv[3]) if len(sys.argv) == 4 else 1_500_000
    best = {}
    with open(source, encoding="utf-8") as f:
        for line in f:
            parts = line.split()
            if len(parts) < 2 or not parts[1].isdigit():
                continue
            word, freq = parts[0], int(parts[1])
            if is_hanzi_word(word) and freq > best.get(word, -1):
                best[word] = freq
    ranked = sorted(best.items(), key=lambda wf: (-wf[1], wf[0].encode("gb2312")))
    size = 0
    kept = 0
    with open(out, "w", encoding="utf-8", newline="\n") as f:
        for word, freq in ranked:
            line = "%s %d\n" % (word, freq)
            n = len(line.encode("utf-8"))
            if size + n > max_bytes:
                break
            f.write(line)
            size += n
            kept += 1
    print("%s: %d of %d eligible words, %d bytes" % (out, kept, len(best), size))


if __name__ == "__main__":
    main()

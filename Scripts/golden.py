#!/usr/bin/env python3
"""Golden outputs of `poi search`: proof that a change leaves every answer as it was.

    golden.py record --poi POI --data DIR --source SRC --queries N --seed S --out FILE [--full]
    golden.py check  --poi POI --data DIR --golden FILE [--show N]

`record` draws N queries of every search kind from the source rows of SRC (the
directory `poi build` compiled into DIR): names cut into initials and pieces of
text, coordinates, telephone numbers, areas and categories, most of them hits,
some misses and edge cases (bad arguments, empty keys, far pages). Each query is
run with --json through `poi search --batch` (one process for all of them), and
FILE gets one line per query: the hash of its whole answer (output, errors and
exit status; the data directory's path reads DIR), a tab, and its words separated by tabs. With --full the answer
itself follows each line, indented by two spaces (for reading a small file).

`check` runs the queries of FILE again against DIR and names the first ones
whose answers differ. Exit status: 0 all identical, 1 some differ, 2 usage.
Queries are taken from FILE, so a golden file stays valid when this script's
drawing of queries changes.
"""

import argparse
import csv
import hashlib
import json
import os
import random
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
INITIALS_TABLE = os.path.join(HERE, "..", "Tests", "Data", "level1-initials.txt")
SEP = "\x1e"


def load_initials():
    """GB2312 level-1 code -> its first initial (upper case)."""
    table = {}
    with open(INITIALS_TABLE, encoding="utf-8") as f:
        for line in f:
            parts = line.split()
            if len(parts) >= 2 and len(parts[0]) == 4 and parts[1] != "-":
                table[int(parts[0], 16)] = parts[1][0]
    return table


def initials_of(name, table):
    """The initials of a name as far as the level-1 table reads it."""
    out = ""
    for ch in name:
        if ch.isascii() and ch.isalnum():
            out += ch.upper()
            continue
        try:
            b = ch.encode("gb2312")
        except UnicodeEncodeError:
            break
        if len(b) != 2:
            break
        letter = table.get((b[0] << 8) | b[1])
        if letter is None:
            break
        out += letter
    return out


def read_rows(path):
    with open(path, encoding="utf-8-sig", newline="") as f:
        return list(csv.DictReader(f))


def read_categories(path):
    branches, leaves = [], []
    with open(path, encoding="utf-8-sig") as f:
        for line in f:
            line = line.rstrip("\r\n")
            if not line.strip():
                continue
            if line.startswith("\t"):
                parts = line.strip().split("\t")
                if len(parts) == 2:
                    leaves.append((parts[0], parts[1]))
            else:
                branches.append(line.strip())
    return branches, leaves


def short(area):
    """A part of an area's name, as users type it (北京 for 北京市)."""
    for suffix in ("维吾尔自治区", "壮族自治区", "回族自治区", "自治区", "自治州", "省", "市", "区", "县"):
        if area.endswith(suffix) and len(area) > len(suffix) + 1:
            return area[: -len(suffix)]
    return area


class Drawer:
    """Draws the queries of every kind from the source rows."""

    def __init__(self, src, seed):
        self.r = random.Random(seed)
        self.table = load_initials()
        self.pois = read_rows(os.path.join(src, "pois.csv"))
        self.sights = read_rows(os.path.join(src, "sights.csv"))
        self.places = read_rows(os.path.join(src, "placenames.csv"))
        self.cross = read_rows(os.path.join(src, "crossroads.csv"))
        self.branches, self.leaves = read_categories(os.path.join(src, "categories.txt"))
        with open(os.path.join(src, "districts.geojson"), encoding="utf-8-sig") as f:
            feats = json.load(f)["features"]
        self.areas = [(p["province"], p["city"], p["county"]) for p in (x["properties"] for x in feats)]
        self.provinces = sorted({a[0] for a in self.areas})
        self.several = len(self.provinces) > 1

    def pick(self, seq):
        return seq[self.r.randrange(len(seq))]

    def pages(self, base, deep=2000):
        """`base` with one paging of its hits (every page of a short list)."""
        k = self.r.random()
        if k < 0.45:
            return [base + ["--limit", "10"]]
        if k < 0.7:
            return [base + ["--offset", str(o), "--limit", "10"] for o in (0, 10, 20)]
        if k < 0.85:
            return [base + ["--limit", "100"]]
        if k < 0.95:
            return [base + ["--offset", str(self.r.randrange(deep)), "--limit", "10"]]
        return [base + ["--limit", "0"]]

    def area_opts(self, row, city_p=0.3):
        opts = []
        if self.several or self.r.random() < 0.5:
            opts += ["--province", row["province"] if self.r.random() < 0.5 else short(row["province"])]
        if self.r.random() < city_p:
            opts += ["--city", row["city"] if self.r.random() < 0.5 else short(row["city"])]
        return opts

    def typed_initials(self, name, lo=1, hi=6):
        full = initials_of(name, self.table)
        if not full:
            return "", ""
        n = self.r.randint(lo, min(hi, len(full)))
        text = full[:n]
        if self.r.random() < 0.3:
            text = text.lower()
        return text, full

    def piece(self, name, lo=1, hi=4):
        if not name:
            return name
        n = self.r.randint(lo, min(hi, len(name)))
        at = self.r.randrange(len(name) - n + 1)
        return name[at:at + n]

    def text_of(self, name):
        k = self.r.random()
        if k < 0.6:
            return self.piece(name)
        if k < 0.85:
            return self.piece(name, 1, 2) + " " + self.piece(name, 1, 2)
        return self.piece(name, 2, 6)

    # One drawer per kind: each returns a list of queries (lists of words).
    def initial(self):
        row = self.pick(self.pois)
        text, full = self.typed_initials(row["name"])
        if not text:
            return []
        base = ["initial"] + self.area_opts(row)
        if len(text) >= 3 and self.r.random() < 0.15 and len(full) > len(text):
            # Refinement loads every hit first: only on short lists.
            refine = full[: self.r.randint(len(text), len(full))]
            return self.pages(base + ["--refine", refine, text], 50)
        return self.pages(base + [text], 200 if len(text) > 1 else 5000)

    def text(self):
        row = self.pick(self.pois)
        base = ["text"] + self.area_opts(row)
        if self.r.random() < 0.15:
            base += ["--refine", self.piece(row["name"], 1, 2)]
        return self.pages(base + [self.text_of(row["name"])], 100)

    def around(self):
        row = self.pick(self.pois)
        lon = float(row["lon"]) + self.r.uniform(-0.002, 0.002)
        lat = float(row["lat"]) + self.r.uniform(-0.002, 0.002)
        k = self.r.random()
        radius = (str(self.r.choice([50, 200, 500, 1000, 3000, 10000])) if k < 0.6 else
                  str(self.r.choice([100, 500, 1500])) + "m" if k < 0.85 else str(self.r.choice([1, 2, 5])) + "km")
        base = ["around"]
        if self.r.random() < 0.3:
            base += ["--type", row["category"] if self.r.random() < 0.6 else self.pick(self.leaves)[1]]
        return self.pages(base + ["%.6f" % lon, "%.6f" % lat, radius], 300)

    def nearest(self):
        row = self.pick(self.pois)
        lon = float(row["lon"]) + self.r.uniform(-0.02, 0.02)
        lat = float(row["lat"]) + self.r.uniform(-0.02, 0.02)
        return self.pages(["nearest", "%.6f" % lon, "%.6f" % lat], 100)

    def tel(self):
        row = self.pick(self.pois)
        digits = "".join(c for c in row["phone"].split(";")[0] if c.isdigit())
        if not digits:
            return []
        return self.pages(["tel", digits[: self.r.randint(1, len(digits))]], 500)

    def address(self):
        row = self.pick(self.pois)
        base = ["address", "--province", short(row["province"])]
        k = self.r.random()
        if k < 0.8:
            base += ["--city", short(row["city"])]
        if k < 0.6:
            base += ["--county", row["county"] if self.r.random() < 0.5 else short(row["county"])]
        c = self.r.random()
        if c < 0.4:
            base += ["--category", row["category"]]
        elif c < 0.7:
            base += ["--category", self.pick(self.leaves)[0]]
        if self.r.random() < 0.2:
            base += ["--level", str(self.r.randint(1, 4))]
        return self.pages(base, 1000)

    def categories(self):
        k = self.r.random()
        if k < 0.2:
            return [["categories"]]
        return [["categories", self.pick(self.branches)]]

    def named_set(self, kind, rows):
        row = self.pick(rows)
        base = [kind]
        if self.r.random() < 0.5:
            text, full = self.typed_initials(row["name"])
            if not text:
                return []
            if self.r.random() < 0.15 and len(full) > len(text):
                base += ["--refine", full[: self.r.randint(len(text), len(full))]]
            return self.pages(base + ["initial", text], 200)
        if self.r.random() < 0.15:
            base += ["--refine", self.piece(row["name"], 1, 2)]
        return self.pages(base + ["text", self.text_of(row["name"])], 100)

    def sight(self):
        return self.named_set("sight", self.sights)

    def place(self):
        return self.named_set("place", self.places)

    def crossroad(self):
        row = self.pick(self.cross)
        base = ["cross"]
        if self.r.random() < 0.25:
            base += ["--mode", self.r.choice(["0", "1", "2", "3", "-1"])]
        base += self.area_opts(row, 0.2)
        road = row["name"].replace("交叉口", "")
        roads = road.split("与")
        if self.r.random() < 0.5:
            name = "".join(reversed(roads)) if self.r.random() < 0.3 else "".join(roads)
            text, _ = self.typed_initials(name, 1, 10)
            if not text:
                return []
            return self.pages(base + ["initial", text], 200)
        words = [self.piece(x, 1, 4) for x in roads if x]
        self.r.shuffle(words)
        return self.pages(base + ["text", " ".join(words)], 100)

    def district(self):
        row = self.pick(self.pois + self.sights)
        lon = float(row["lon"]) + self.r.uniform(-0.05, 0.05)
        lat = float(row["lat"]) + self.r.uniform(-0.05, 0.05)
        return [["district", "%.6f" % lon, "%.6f" % lat]]

    def edges(self):
        """Misses, bad arguments and corners every kind must answer as before."""
        p = self.provinces[0]
        return [
            ["initial", "--province", p, "ZZZZZZZZ"], ["initial", "--province", p, "9"],
            ["initial", "--province", p, ""], ["initial", "--province", "火星", "bj"],
            ["initial", "--province", p, "--offset", "999999999", "b"],
            ["initial", "--province", p, "--city", "无此城", "b"],
            ["initial", "--province", p, "--limit", "x", "b"], ["initial", "--province", p, "北京"],
            ["initial", "--province", p, "--refine", "", "b"], ["initial", "b"],
            ["initial", "--province", p, "ABCDEFGHIJKLMNOPQRSTUVWXYZABCDEFGHIJKLMNOPQRSTUVWXYZABCDEFGHIJKLMNO"],
            ["text", "--province", p, "鼜鼜"], ["text", "--province", p, "bj-dx"], ["text", "--province", p, "KFC"],
            ["text", "--province", p, "7-11"], ["text", "--province", p, "１２３"], ["text", "--province", p, ""],
            ["text", "--province", p, "店 店 店"], ["text", "--province", p, "a"],
            ["around", "0", "0", "500"], ["around", "116.4", "39.9", "0"], ["around", "116.4", "39.9", "20km"],
            ["around", "116.4", "39.9", "-5"], ["around", "200", "39.9", "500"], ["around", "116.4", "39.9"],
            ["nearest", "0.000001", "0.000001"], ["nearest", "181", "0"], ["nearest", "116.4"],
            ["tel", ""], ["tel", "0"], ["tel", "1a"], ["tel", "999999999999999999999"], ["tel", "--limit", "3", "01"],
            ["address", "--province", "*"], ["address", "--province", p, "--level", "5"],
            ["address", "--province", p, "--category", "无此类"], ["address", "--province", p, "--category", "2000"],
            ["address", "--province", "火星"], ["address"],
            ["categories", "无此类"], ["categories", "a", "b"],
            ["sight", "initial", "ZZZZ"], ["sight", "text", ""], ["place", "initial", ""], ["place", "text", "鼜"],
            ["cross", "initial", "ZZZZZ"], ["cross", "text", "路"], ["cross", "walk", "x"],
            ["cross", "--mode", "9", "initial", "a"],
            ["district", "0", "0"], ["district", "116.4", "x"], ["district", "-1", "95"],
            ["nosuch", "x"], [],
        ]


KINDS = ["initial", "text", "around", "nearest", "tel", "address", "categories", "sight", "place", "crossroad",
         "district"]
# Relative weights: the name searches are what users run most.
WEIGHTS = [6, 5, 2, 2, 2, 2, 1, 2, 2, 2, 1]


def draw(src, count, seed):
    d = Drawer(src, seed)
    queries = list(d.edges())
    while len(queries) < count:
        kind = d.r.choices(KINDS, WEIGHTS)[0]
        queries.extend(getattr(d, kind)())
    return queries[:count]


def run_batch(poi, data, queries):
    """The answer to every query, as `poi search --batch` gives them."""
    for q in queries:
        for w in q:
            if "\t" in w or "\n" in w:
                raise ValueError("a word of a query holds a tab or a line break: %r" % (q,))
    text = "".join("\t".join(q) + "\n" for q in queries)
    if os.path.sep not in poi and os.path.exists(poi):
        poi = os.path.abspath(poi)  # a file here, not a command on the PATH
    proc = subprocess.run([poi, "search", "--data", data, "--json", "--batch", "-"], input=text.encode("utf-8"),
                          stdout=subprocess.PIPE, check=False)
    if proc.returncode != 0:
        sys.exit("golden.py: poi search --batch failed with exit status %d" % proc.returncode)
    # Messages name the data directory: the answers do not depend on where it lies.
    output = proc.stdout.replace(data.rstrip("/").encode("utf-8"), b"DIR")
    answers, current = [], []
    for line in output.split(b"\n")[:-1]:
        current.append(line)
        if line.startswith(SEP.encode()):
            answers.append(b"\n".join(current) + b"\n")
            current = []
    if len(answers) != len(queries):
        sys.exit("golden.py: %d answers for %d queries" % (len(answers), len(queries)))
    return answers


def digest(answer):
    return hashlib.sha256(answer).hexdigest()[:20]


def record(args):
    queries = draw(args.source, args.queries, args.seed)
    answers = run_batch(args.poi, args.data, queries)
    with open(args.out, "w", encoding="utf-8") as f:
        f.write("# golden answers of poi search --json: hash, tab, the words of the query (tabs)\n")
        for q, a in zip(queries, answers):
            f.write(digest(a) + "\t" + "\t".join(q) + "\n")
            if args.full:
                for line in a.decode("utf-8", "replace").rstrip("\n").split("\n"):
                    f.write("  " + line.replace(SEP, "<exit>") + "\n")
    kinds = {}
    for q in queries:
        kinds[q[0] if q else ""] = kinds.get(q[0] if q else "", 0) + 1
    print("recorded %d queries into %s (%s)" % (len(queries), args.out,
                                                 ", ".join("%s %d" % kv for kv in sorted(kinds.items()))))
    return 0


def check(args):
    golden = []
    with open(args.golden, encoding="utf-8") as f:
        for line in f:
            if line.startswith("#") or line.startswith("  "):
                continue
            line = line.rstrip("\n")
            h, _, rest = line.partition("\t")
            golden.append((h, rest.split("\t") if rest else []))
    answers = run_batch(args.poi, args.data, [q for _, q in golden])
    bad = [(q, a) for (h, q), a in zip(golden, answers) if digest(a) != h]
    if not bad:
        print("golden: all %d answers identical" % len(golden))
        return 0
    print("golden: %d of %d answers differ; the first:" % (len(bad), len(golden)))
    for q, a in bad[: args.show]:
        print("  poi search --data %s --json %s" % (args.data, " ".join("'%s'" % w for w in q)))
        for line in a.decode("utf-8", "replace").rstrip("\n").split("\n")[:5]:
            print("      " + line.replace(SEP, "<exit>"))
    return 1


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    sub = ap.add_subparsers(dest="command", required=True)
    r = sub.add_parser("record")
    r.add_argument("--poi", required=True)
    r.add_argument("--data", required=True)
    r.add_argument("--source", required=True)
    r.add_argument("--queries", type=int, default=20000)
    r.add_argument("--seed", type=int, default=1)
    r.add_argument("--out", required=True)
    r.add_argument("--full", action="store_true")
    c = sub.add_parser("check")
    c.add_argument("--poi", required=True)
    c.add_argument("--data", required=True)
    c.add_argument("--golden", required=True)
    c.add_argument("--show", type=int, default=5)
    args = ap.parse_args()
    return record(args) if args.command == "record" else check(args)


if __name__ == "__main__":
    sys.exit(main())

"""Pinyin readings of GB2312 characters from the npm package pinyin-pro (MIT).

Shared by gen-pinyin-level2.py and gen-level1-initials.py. The package is
either given as the path of an unpacked copy (the folder holding package.json)
or fetched with `npm pack pinyin-pro` into a temporary directory, never into
the source tree. Node runs the package; Python's codecs map GB2312 bytes to
Unicode.
"""

import json
import os
import subprocess
import sys
import tarfile
import tempfile

# Node program: reads a JSON list of characters on stdin and writes, for each,
# the list of its readings in pinyin-pro's order, without tones. A character
# the package does not know comes back as itself and is reported as [].
_NODE_READINGS = r"""
const { pinyin } = require(process.argv[1]);
let input = "";
process.stdin.on("data", d => (input += d)).on("end", () => {
  const out = JSON.parse(input).map(c => {
    const r = pinyin(c, { toneType: "none", type: "array", multiple: true });
    return r.filter(p => p && p !== c && /^[a-z]/.test(p));
  });
  process.stdout.write(JSON.stringify(out));
});
"""


def open_package(path, workdir):
    """Returns (package folder, version); fetches the package when path is None."""
    if path is None:
        subprocess.run(["npm", "pack", "pinyin-pro", "--silent"], cwd=workdir,
                       check=True, stdout=subprocess.DEVNULL)
        tarballs = [f for f in os.listdir(workdir) if f.endswith(".tgz")]
        if len(tarballs) != 1:
            sys.exit("npm pack pinyin-pro did not leave exactly one tarball")
        with tarfile.open(os.path.join(workdir, tarballs[0])) as tar:
            if hasattr(tarfile, "data_filter"):
                tar.extractall(workdir, filter="data")
            else:
                tar.extractall(workdir)
        path = os.path.join(workdir, "package")
    with open(os.path.join(path, "package.json"), encoding="utf-8") as f:
        meta = json.load(f)
    if meta.get("name") != "pinyin-pro":
        sys.exit(f"{path} does not hold pinyin-pro")
    return path, meta["version"]


def readings(package, chars):
    """Readings (lists of tone-less pinyin, first reading first) of each character."""
    main = os.path.join(os.path.abspath(package), "dist", "index.js")
    run = subprocess.run(["node", "-e", _NODE_READINGS, main], input=json.dumps(chars),
                         capture_output=True, text=True, check=True)
    result = json.loads(run.stdout)
    if len(result) != len(chars):
        sys.exit("pinyin-pro returned a wrong number of readings")
    return result


def gb2312_char(code):
    """The Unicode character of a two-byte GB2312 code, or None when unassigned."""
    try:
        return bytes([code >> 8, code & 0xFF]).decode("gb2312")
    except UnicodeDecodeError:
        return None


def codes(first_lead, last_lead):
    """Every code of the rows first_lead..last_lead (trail bytes 0xA1-0xFE)."""
    return [lead << 8 | trail for lead in range(first_lead, last_lead + 1)
            for trail in range(0xA1, 0xFF)]


def with_package(argv, usage):
    """Parses [PINYIN_PRO_DIR] from argv; returns (tempdir object, package, version)."""
    if len(argv) > 2 or (len(argv) == 2 and argv[1].startswith("-")):
        sys.exit(usage)
    tmp = tempfile.TemporaryDirectory(prefix="pinyin-pro-")
    package, version = open_package(argv[1] if len(argv) == 2 else None, tmp.name)
    return tmp, package, version

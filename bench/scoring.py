"""Measures what `salvor recover` brings back: images with known files on them, and the comparison with what was found.

A manifest lists the files of an image: offset and size in bytes, SHA-256, name. Files on it lie in one piece. A file whose
SHA-256 is given as "-" is there but does not count: what is found at its place is no surplus.
"""

import argparse
import bisect
import collections
import contextlib
import dataclasses
import hashlib
import json
import os
import random
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

CLUSTER = 4096          # bytes: where the files of an image begin
MAX_GAP = 64            # clusters between two files, at most
NOT_COUNTED = "-"       # in place of a SHA-256
COPY = 1 << 20          # bytes copied at once

# Extensions that name one and the same format: a file under any of a line counts as right under all of them.
EQUIVALENT = (
    "jpg jpeg jpe jfif", "tif tiff", "htm html xhtml shtml", "mpg mpeg vob", "aif aiff aifc", "mid midi", "ts mts m2ts m2t",
    "ogg oga ogv ogx opus spx", "mp3 mp2 mp1 mpa", "icc icm", "au snd", "mht mhtml", "rm rmvb ra", "pcx pcc", "eml mbox", "txt text",
    "psp pspimage psptube", "qxp qxd", "qpt qxt",
)
# Extensions of special cases, and those of the general formats that such files may come out under.
GENERAL = {
    "docx zip": "docm dotx dotm", "xlsx zip": "xlsm xlsb xltx xltm", "pptx zip": "pptm potx potm ppsx ppsm",
    "odt zip": "ott sxw", "ods zip": "ots sxc", "odp zip": "otp sxi", "odg zip": "otg sxd",
    "doc": "dot", "xls": "xlt xla xlw", "ppt": "pot pps",
    "jar zip": "apk war ear", "zip": "epub kmz xpi whl cbz sb2 sb3 mmpz xopp vsdx",
    "json": "ipynb geojson map webmanifest", "xml": "svg kml rss gpx xsl xslt xsd rdf ui plist docbook page kvtml fodt fods fodp fodg cfg", "htm": "html xhtml",
    "txt": "md csv log srt c h cpp py sh pl lua po pot tex cfg css js json slk dif",
    "mp4": "m4v m4a m4b mov 3gp 3g2 heic", "mp3": "aac", "asf": "wma wmv", "mkv": "mka webm", "tif": "dng nef arw pef cr2 dcr srf",
    "dwg": "dwt", "pdf": "ai", "psd": "psb",
}
TEXT = frozenset("txt htm html xml eml mht".split())

_CANON = {name: line.split()[0] for line in EQUIVALENT for name in line.split()}
_GENERAL = collections.defaultdict(set)
for _general, _names in GENERAL.items():
    for _name in _names.split():
        _GENERAL[_name].update(_general.split())


def canonical(extension):
    return _CANON.get(extension, extension)


def known_extensions(salvor):
    """The extensions of the program's types. Behind the table of types come other lines."""
    listed = subprocess.run([salvor, "types"], capture_output=True, text=True, check=True).stdout
    return set(re.findall(r"^ *\d+ +(\S+)", listed, re.MULTILINE))


def extension_of(name):
    return os.path.splitext(name)[1].lstrip(".").lower()


# ---- What is there and what was found -----------------------------------

@dataclasses.dataclass(frozen=True)
class Expected:
    offset: int             # bytes from the start of the image
    size: int
    sha256: str
    name: str

    @property
    def counts(self):
        return self.sha256 != NOT_COUNTED

    @property
    def extension(self):
        return extension_of(self.name)

    @property
    def end(self):
        return self.offset + self.size


@dataclasses.dataclass(frozen=True)
class Found:
    offset: int             # bytes from the start of the image, or -1 when it is not known
    size: int
    sha256: str
    path: str
    extension: str
    embedded: bool = False
    verdict: str = ""
    why: str = ""
    reported_size: int | None = None

    @property
    def end(self):
        return self.offset + self.size

    @property
    def is_text(self):
        return canonical(self.extension) in TEXT


def read_manifest(path):
    items = []
    with open(path, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            if not line.strip() or line.startswith(("#", "offset\t")):
                continue
            try:
                offset, size, sha256, name = line.rstrip("\n").split("\t", 3)
                items.append(Expected(int(offset), int(size), sha256.lower(), name))
            except ValueError:
                raise SystemExit(f"{path}, line {number}: expected offset, size, sha256 and name with tabs between them") from None
    return sorted(items, key=lambda item: item.offset)


def write_manifest(path, items):
    with open(path, "w", encoding="utf-8", errors="replace") as out:
        out.write("offset\tsize\tsha256\tname\n")
        for item in items:
            out.write(f"{item.offset}\t{item.size}\t{item.sha256}\t{item.name}\n")


def read_report(folder):
    """The files that a run has written, from its report.jsonl."""
    found = []
    with open(Path(folder) / "report.jsonl", encoding="utf-8", errors="replace") as lines:
        for line in lines:
            record = json.loads(line)
            if record.get("record") != "file":
                continue
            path = record["path"]
            found.append(Found(
                record["start_byte"], record["size"], record["sha256"], path,
                record.get("extension") or extension_of(path),
                bool(record.get("embedded")) or "embedded" in record.get("flags", ()) or path.startswith("embedded/"),
                record.get("verdict") or "", record.get("why") or "", record.get("reported_size")))
    return found


def read_skipped(folder):
    """Why a run wrote no file for what it had found, by the byte where that begins."""
    reasons = collections.defaultdict(list)
    path = Path(folder) / "skipped.jsonl"
    if not path.exists():
        return reasons
    sector = json.loads((Path(folder) / "job.json").read_text(encoding="utf-8")).get("sector_size", 512)
    for line in path.read_text(encoding="utf-8", errors="replace").splitlines():
        record = json.loads(line)
        kind = record.get("type")
        kind = kind.get("extension", "") if isinstance(kind, dict) else record.get("extension", "")
        reason = f"{kind} of {record.get('size', '?')} bytes: {record.get('reason') or record.get('why', '')}"
        if "start_sector" in record:
            reasons[record["start_sector"] * sector].append(reason)
    return reasons


def hash_file(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        while block := file.read(COPY):
            digest.update(block)
    return digest.hexdigest()


def read_folder(folder):
    """The files of any folder; where on the medium they began is not known."""
    return [Found(-1, path.stat().st_size, hash_file(path), str(path.relative_to(folder)), extension_of(path.name))
            for path in regular_files(folder)]


def regular_files(folder):
    return sorted(path for path in Path(folder).rglob("*") if path.is_file() and not path.is_symlink())


# ---- Images -------------------------------------------------------------

class Zeros:
    """Fills slack and gaps with zeros."""

    def fill(self, out, size):
        out.write(bytes(size))


class Foreign:
    """Fills slack and gaps with random bytes and with pieces from the middle of this machine's texts and programs."""

    SOURCES = ("/usr/share/doc", "/usr/bin")
    SAMPLE = 400            # files of each source that pieces are taken from
    LONGEST = 16            # clusters in a piece, at most

    def __init__(self, rng):
        self.rng = rng
        self.texts = self._choose(self.SOURCES[0], lambda head: b"\0" not in head)
        self.programs = self._choose(self.SOURCES[1], lambda head: head.startswith(b"\x7fELF"))

    def _choose(self, root, wanted):
        paths = [path for path in regular_files(root) if path.stat().st_size >= 2048]
        self.rng.shuffle(paths)
        chosen = []
        for path in paths:
            with open(path, "rb") as file:
                if wanted(file.read(512)):
                    chosen.append(path)
            if len(chosen) == self.SAMPLE:
                break
        return chosen

    def _middle(self, path, size):
        """At most `size` bytes that are neither the first nor the last of the file."""
        whole = path.stat().st_size
        begin = self.rng.randrange(whole // 8 + 1, whole * 3 // 4)
        with open(path, "rb") as file:
            file.seek(begin)
            return file.read(min(size, whole - begin - 1))

    def _piece(self, size):
        kind = self.rng.randrange(3)
        sources = (None, self.texts, self.programs)[kind]
        return self._middle(self.rng.choice(sources), size) if sources else self.rng.randbytes(size)

    def fill(self, out, size):
        """The first piece is slack up to the next cluster; the pieces behind it begin at clusters, as remains of older files do."""
        while size > 0:
            here = min(size, -out.tell() % CLUSTER or CLUSTER * self.rng.randint(1, self.LONGEST))
            piece = self._piece(here)
            size -= here
            out.write(piece)
            # A piece that was too short is followed by the slack of its own cluster.
            rest = here - len(piece)
            out.write(self.rng.randbytes(rest) if self.rng.random() < 0.5 else bytes(rest))


def read_names(path):
    """The names in a list, one a line; what follows a tab, and lines that begin with "#", are remarks."""
    lines = path.read_text(encoding="utf-8").splitlines() if path else []
    return {line.split("\t")[0].rstrip() for line in lines if line.strip() and not line.startswith("#")}


def build_image(files, root, path, seed, gaps, unsound=frozenset()):
    """Lays the files at clusters in random order with gaps between them and returns the manifest. Those whose names below the
    root are in `unsound` do not count."""
    rng = random.Random(seed)
    files = sorted(files)
    rng.shuffle(files)
    spaces = [rng.randint(1, MAX_GAP) for _ in range(len(files) + 1)]
    filler = Foreign(random.Random(seed + 1)) if gaps == "foreign" else Zeros()
    items = []
    with open(path, "wb") as out:
        filler.fill(out, spaces[0] * CLUSTER)
        for file, space in zip(files, spaces[1:]):
            data = file.read_bytes()
            name = str(file.relative_to(root))
            sha256 = NOT_COUNTED if name in unsound else hashlib.sha256(data).hexdigest()
            items.append(Expected(out.tell(), len(data), sha256, name))
            out.write(data)
            filler.fill(out, -out.tell() % CLUSTER + space * CLUSTER)
    return items


# ---- Running ------------------------------------------------------------

@dataclasses.dataclass
class Run:
    seconds: float
    memory: int             # bytes resident at most
    status: int


def measured(argv, stdout=subprocess.DEVNULL):
    """Runs a program and returns its time and its peak memory."""
    begin = time.monotonic()
    with subprocess.Popen([str(a) for a in argv], stdout=stdout) as child:
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
    return Run(time.monotonic() - begin, usage.ru_maxrss * 1024, child.returncode)


def recover(salvor, image, out, options=()):
    """Times sha256sum and `salvor recover` on the image, both with the image in memory as far as it fits."""
    measured(["sha256sum", image])
    reading = measured(["sha256sum", image])
    run = measured([salvor, "recover", image, "--out", out, "--quiet", *options])
    if run.status not in (0, 1):
        raise SystemExit(f"{salvor} recover {image} ended with status {run.status}")
    return run, reading


# ---- Scoring ------------------------------------------------------------

OUTCOMES = ("identical", "right type", "wrong ext", "longer", "shorter", "missed")


def outcome(item, got):
    """How well one found file answers for an expected one."""
    if got.sha256 == item.sha256:
        if canonical(got.extension) == canonical(item.extension):
            return "identical"
        general = {canonical(name) for name in _GENERAL.get(item.extension, ())}
        return "right type" if canonical(got.extension) in general else "wrong ext"
    return "longer" if got.size > item.size else "shorter"


@dataclasses.dataclass
class Score:
    """What became of each expected file, and what was found besides."""
    results: list                   # (Expected, outcome, Found or None)
    embedded: list                  # inside an expected file, marked as embedded or not
    unmarked: int                   # how many of these are not marked
    gap_text: list
    gap_other: list
    uncounted: list                 # begin where a file does that is there but does not count
    straying: list                  # begin inside an expected file and end outside of it
    written: int                    # bytes, without embedded files and text of the gaps

    @property
    def held(self):
        return sum(item.size for item, _, _ in self.results)


def score_by_place(manifest, found):
    """Matches by start; needs files whose places are known."""
    at_start = collections.defaultdict(list)
    for got in found:
        at_start[got.offset].append(got)
    results, used = [], set()
    for item in (item for item in manifest if item.counts):
        here = at_start.get(item.offset, ())
        best = min(here, key=lambda got: (OUTCOMES.index(outcome(item, got)), got.embedded, abs(got.size - item.size)), default=None)
        results.append((item, outcome(item, best) if best else "missed", best))
        used.update(id(got) for got in here if not got.embedded)

    score = Score(results, [], 0, [], [], [], [], 0)
    starts = [item.offset for item in manifest]
    for got in found:
        if id(got) in used:
            score.written += got.size
            continue
        n = bisect.bisect_right(starts, got.offset) - 1
        inside = n >= 0 and got.offset < manifest[n].end
        if inside and not manifest[n].counts:
            score.uncounted.append(got)
        elif got.embedded or (inside and got.end <= manifest[n].end):
            score.embedded.append(got)
            score.unmarked += not got.embedded
        elif inside:
            score.straying.append(got)
            score.written += got.size
        elif got.is_text:
            score.gap_text.append(got)
        else:
            score.gap_other.append(got)
            score.written += got.size
    return score


def score_by_hash(manifest, found):
    """Matches by content alone: a file that is not identical counts as missed."""
    by_hash = collections.defaultdict(list)
    for got in found:
        by_hash[got.sha256].append(got)
    results = []
    for item in (item for item in manifest if item.counts):
        same = by_hash.get(item.sha256)
        best = min(same, key=lambda got: OUTCOMES.index(outcome(item, got)), default=None) if same else None
        if best:
            same.remove(best)
        results.append((item, outcome(item, best) if best else "missed", best))
    return Score(results, [], 0, [], [], [], [], sum(got.size for got in found))


# ---- Printing -----------------------------------------------------------

def percent(part, whole):
    return f"{100 * part / whole:.2f} %" if whole else "-"


def print_table(score, out):
    rows = collections.defaultdict(collections.Counter)
    for item, result, _ in score.results:
        rows[item.extension or "(none)"][result] += 1
    print(f"{'':10} {'files':>7} " + " ".join(f"{name:>10}" for name in OUTCOMES), file=out)
    total = sum(rows.values(), collections.Counter())
    for name, row in sorted(rows.items()) + [("all", total)]:
        print(f"{name:10} {sum(row.values()):7} " + " ".join(f"{row[o] or '.':>10}" for o in OUTCOMES), file=out)


def print_summary(score, out):
    counts = collections.Counter(result for _, result, _ in score.results)
    files = len(score.results)
    right = counts["identical"] + counts["right type"]
    print(f"identical: {right} of {files} ({percent(right, files)}), {counts['right type']} of them under a more general extension",
          file=out)
    print("not identical: " + ", ".join(f"{counts[o]} {o}" for o in OUTCOMES[2:]), file=out)
    wrong = [(item, got) for item, result, got in score.results if got and result in ("longer", "shorter")]
    if any(got.verdict for _, _, got in score.results if got):
        said = collections.Counter(got.verdict for _, got in wrong)
        sound = collections.Counter(got.verdict for _, result, got in score.results
                                    if got and result in ("identical", "right type", "wrong ext"))
        for label, verdicts in (("verdicts of identical files", sound), ("verdicts of longer and shorter files", said)):
            print(f"{label}: " + (", ".join(f"{n} {v or 'none'}" for v, n in verdicts.most_common()) or "none"), file=out)


def total_size(files):
    return sum(got.size for got in files)


def print_surplus(score, out):
    print(f"in the gaps: {len(score.gap_text)} texts ({total_size(score.gap_text)} bytes), "
          f"{len(score.gap_other)} other files ({total_size(score.gap_other)} bytes)", file=out)
    if score.uncounted:
        print(f"of files that do not count: {len(score.uncounted)} ({total_size(score.uncounted)} bytes)", file=out)
    print(f"inside files: {len(score.embedded)} ({total_size(score.embedded)} bytes), {score.unmarked} of them not marked as embedded; "
          f"{len(score.straying)} more that reach beyond the file ({total_size(score.straying)} bytes)", file=out)
    print(f"written: {score.written} bytes for {score.held} held ({percent(score.written, score.held)}), "
          "without embedded files and text of the gaps", file=out)


def describe(got):
    parts = [got.path, f"{got.size} bytes"]
    if got.reported_size not in (None, got.size):
        parts.append(f"reported {got.reported_size}")
    parts += [part for part in (got.verdict, got.why) if part]
    return ", ".join(parts)


def print_details(score, found, skipped, out):
    """One line for each file that is not right, and for each file that no one expects."""
    for item, result, got in score.results:
        if result in ("identical", "right type"):
            continue
        line = f"{result}: {item.name} at {item.offset}, {item.size} bytes"
        if got:
            line += f"; got {describe(got)}"
            if result in ("longer", "shorter"):
                line += f" ({got.size - item.size:+d})"
        else:
            cover = [other for other in found if other.offset < item.offset < other.end and not other.embedded]
            if cover:
                line += f"; inside {describe(cover[0])}"
        for reason in skipped.get(item.offset, ()):
            line += f"; skipped {reason}"
        print(line, file=out)
    for label, files in (("in a gap", score.gap_other), ("beyond its file", score.straying)):
        for got in files:
            print(f"{label}: {describe(got)} at {got.offset}", file=out)


def print_runs(run, reading, image, out):
    size = os.path.getsize(image)
    print(f"recover: {run.seconds:.2f} s, {run.memory / 2**20:.0f} MiB at most; sha256sum: {reading.seconds:.2f} s, "
          f"ratio {run.seconds / max(reading.seconds, 1e-3):.2f}; image of {size / 2**20:.0f} MiB", file=out)


def report(score, found, skipped, arguments, with_places=True, out=sys.stdout):
    if arguments.verbose:
        print_details(score, found, skipped, out)
        print(file=out)
    if arguments.table:
        print_table(score, out)
    print_summary(score, out)
    if with_places:
        print_surplus(score, out)


def measure(salvor, image, items, out_folder, arguments):
    """Recovers the image into the folder and prints the score."""
    out_folder.parent.mkdir(parents=True, exist_ok=True)
    run, reading = recover(salvor, image, out_folder, arguments.options)
    found = read_report(out_folder)
    report(score_by_place(items, found), found, read_skipped(out_folder), arguments)
    print_runs(run, reading, image, sys.stdout)


def compare(folder, items, arguments):
    """Prints the score of files that any program has recovered."""
    found = read_folder(folder)
    print(f"{len(found)} files in {folder}, {total_size(found)} bytes; by content alone")
    report(score_by_hash(items, found), found, {}, arguments, with_places=False)


# ---- What both programs ask for -----------------------------------------

def default_salvor():
    root = Path(__file__).resolve().parent.parent
    built = sorted((root / "build").glob("*/bin/salvor"), key=lambda path: path.stat().st_mtime)
    found = built[-1] if built else shutil.which("salvor")
    if not found:
        raise SystemExit("no salvor below build/ nor on the PATH; name it with --salvor PATH")
    return Path(found)


def add_common_options(parser):
    parser.add_argument("--salvor", metavar="PATH", type=Path, default=None,
                        help="the program to measure (default: the newest one below build/, else that on the PATH)")
    parser.add_argument("--out", metavar="DIR", type=Path,
                        help="work in this folder, new or empty, in place of a temporary one; the manifest stays there")
    parser.add_argument("--keep", action="store_true", help="keep the image and the recovered files (needs --out)")
    parser.add_argument("--table", action=argparse.BooleanOptionalAction, default=True, help="a line for each extension")
    parser.add_argument("--verbose", action="store_true",
                        help="list every file that is not identical, with what was found in its place and why")
    parser.add_argument("--options", metavar="TEXT", type=shlex.split, default=[],
                        help="further options for `salvor recover`, in one argument: --options='--types jpg,png'")


@contextlib.contextmanager
def work_folder(arguments):
    """The folder of --out, or a temporary one; what is large in it goes afterwards unless --keep says otherwise."""
    if arguments.out is None:
        if arguments.keep:
            raise SystemExit("--keep needs --out DIR")
        with tempfile.TemporaryDirectory(prefix="salvor-score-") as folder:
            yield Path(folder)
        return
    arguments.out.mkdir(parents=True, exist_ok=True)
    if any(arguments.out.iterdir()):
        raise SystemExit(f"{arguments.out} is not empty")
    yield arguments.out
    if not arguments.keep:
        for path in arguments.out.rglob("*.img"):
            path.unlink()
        for path in arguments.out.rglob("recovered"):
            shutil.rmtree(path)


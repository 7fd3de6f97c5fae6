"""What all makers of variants share: the output folder, programs that may be missing, and source material."""

import os
import random
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

TIMEOUT = 180       # seconds that one program may take

WORDS = {
    "en": "the river carries small boats between green hills where people build houses of stone and wood and "
          "children walk to school every morning with bread apples and books under their arms while rain falls".split(),
    "de": "der Fluß trägt kleine Schiffe zwischen grünen Hügeln wo Menschen Häuser aus Stein und Holz bauen und "
          "Kinder jeden Morgen mit Brot Äpfeln und Büchern zur Schule gehen während es über den Dächern regnet".split(),
    "fr": "la rivière emporte de petits bateaux entre les collines où l'été les élèves mangent des pêches et "
          "récitent à voix haute leçons poèmes et façons de dire tandis que la forêt résonne déjà très tôt".split(),
    "ru": "река несёт маленькие лодки между зелёными холмами где люди строят дома из камня и дерева а дети "
          "каждое утро идут в школу с хлебом яблоками и книгами под мышкой пока над крышами идёт дождь".split(),
    "ja": "川は 緑の 丘の 間を 小さな 船を 運び、 人々は 石と 木で 家を 建て、 子供たちは 毎朝 パンと 林檎と "
          "本を 持って 学校へ 歩いて 行く。".split(),
}


def text(language, size, seed=1, line_end="\n", width=76):
    """Prose of at least `size` characters in lines of about `width`, ending with a line end."""
    rng = random.Random(f"{language}-{size}-{seed}")
    words = WORDS[language]
    lines, line, length = [], "", 0
    while length < size:
        word = rng.choice(words)
        if rng.random() < 0.08:
            word = word.capitalize()
        if rng.random() < 0.07:
            word += rng.choice([".", ",", ";", "?", " -"])
        if len(line) + len(word) > width:
            lines.append(line)
            length += len(line) + len(line_end)
            line = ""
            if rng.random() < 0.06:
                lines.append("")
                length += len(line_end)
        line += (" " if line else "") + word
    lines.append(line)
    return line_end.join(lines) + line_end


def noise(size, seed=1):
    """Bytes that do not compress, the same ones for the same arguments."""
    return random.Random(f"noise-{size}-{seed}").randbytes(size)


class Missing(Exception):
    """A program or a module is not there, or refused the job."""


class Workshop:
    """Writes `<out>/<ext>/<name>.<ext>` and counts what was made and what had to be left out."""

    def __init__(self, out):
        self.out = Path(out)
        self.made = 0
        self.skipped = 0
        self._scratch = tempfile.TemporaryDirectory(prefix="variants-")
        self.scratch = Path(self._scratch.name)
        self._sources = {}

    def close(self):
        self._scratch.cleanup()

    def path(self, ext, name):
        folder = self.out / ext
        folder.mkdir(parents=True, exist_ok=True)
        return folder / f"{name}.{ext}"

    def skip(self, what, why):
        self.skipped += 1
        print(f"make-variants: no {what}: {why}", file=sys.stderr)

    def run(self, *argv, stdin=None):
        """Runs a program in the scratch folder and returns what it printed."""
        argv = [str(a) for a in argv]
        if shutil.which(argv[0]) is None:
            raise Missing(f"{argv[0]} is not installed")
        environment = dict(os.environ, LC_ALL="C.UTF-8", TZ="UTC", SOURCE_DATE_EPOCH="1700000000",
                           HOME=str(self.scratch))
        try:
            done = subprocess.run(argv, input=stdin, capture_output=True, timeout=TIMEOUT, cwd=self.scratch,
                                  env=environment, check=False)
        except subprocess.TimeoutExpired:
            raise Missing(f"{argv[0]} took more than {TIMEOUT} s") from None
        if done.returncode != 0:
            words = done.stderr.decode("utf-8", "replace").strip().splitlines() or ["no message"]
            raise Missing(f"{argv[0]}: {words[-1][:160]}")
        return done.stdout

    def write(self, ext, name, data):
        """Stores bytes, or what a function returns; a Missing becomes a line on stderr."""
        try:
            content = data() if callable(data) else data
        except Missing as why:
            self.skip(f"{name}.{ext}", why)
            return None
        path = self.path(ext, name)
        path.write_bytes(content)
        self.made += 1
        return path

    def program(self, ext, name, *argv, stdin=None):
        """Has a program write the file; OUT among its arguments stands for the path."""
        path = self.path(ext, name)
        partial = path.with_name(f".{path.name}.{ext}")
        try:
            self.run(*[str(a).replace("OUT", str(partial)) for a in argv], stdin=stdin)
            if not partial.exists() or partial.stat().st_size == 0:
                raise Missing(f"{argv[0]} wrote nothing")
            partial.replace(path)
        except Missing as why:
            partial.unlink(missing_ok=True)
            self.skip(path.name, why)
            return None
        self.made += 1
        return path

    def captured(self, ext, name, *argv, stdin=None):
        """Stores what a program prints: its output cannot be sought in."""
        return self.write(ext, name, lambda: self.run(*argv, stdin=stdin))

    def source(self, name, *argv):
        """A file in the scratch folder for other makers to start from, made once."""
        path = self.scratch / name
        if not path.exists():
            self.run(*[str(a).replace("OUT", str(path)) for a in argv])
            if not path.exists():
                raise Missing(f"{argv[0]} wrote nothing")
        return path

    def picture(self, width=640, height=480, kind="plasma:fractal"):
        """A PNG of the given size."""
        return self.source(f"{kind.replace(':', '-')}-{width}x{height}.png", "convert", "-seed", "7", "-size",
                           f"{width}x{height}", kind, "-depth", "8", "-strip", "png:OUT")

    def sound(self, seconds=2, rate=44100, channels=2):
        """A WAVE file of tones and noise."""
        return self.source(f"sound-{seconds}-{rate}-{channels}.wav", "ffmpeg", "-hide_banner", "-loglevel", "error",
                           "-nostdin", "-y", "-f", "lavfi", "-i",
                           f"sine=frequency=440:beep_factor=3:sample_rate={rate}:duration={seconds}", "-f", "lavfi",
                           "-i", f"anoisesrc=color=pink:amplitude=0.2:seed=3:sample_rate={rate}:duration={seconds}",
                           "-filter_complex", "amix=inputs=2", "-ac", channels, "-fflags", "+bitexact", "OUT")

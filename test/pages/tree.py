"""What exists: programs and their options, targets of make, presets, paths and words of the sources."""
import functools
import json
import pathlib
import re
import subprocess

BUILD = "build/dev"
PROGRAMS = {
    "qdxd": "sw/platform/qdxd/qdxd", "dch": "sw/tools/dch/dch", "rodc": "sw/tools/dch/rodc",
    "dch-filter": "sw/tools/dchFilter/dch-filter", "qfci": "sw/tools/qfci/qfci", "qdxview": "sw/tools/qdxview/qdxview",
    "hostfe": "sw/tools/hostfe/hostfe", "qdx-replay": "sw/tools/replay/qdx-replay", "qdxload": "bench/load/qdxload",
}
SUBCOMMANDS = {"qfci": ["pull", "connect", "ping"]}
OPTION = re.compile(r"(?<![\w-])--?[a-zA-Z][\w-]*")


class Tree:
    """The tree at a path, with the programs of a build."""

    def __init__(self, source=".", build=BUILD):
        self.source, self.build = pathlib.Path(source), pathlib.Path(build)

    def read(self, path):
        return (self.source / path).read_text(errors="replace")

    @functools.cached_property
    def files(self):
        listed = subprocess.run(["git", "-C", self.source, "ls-files", "-z", "--cached", "--others",
                                 "--exclude-standard"], stdout=subprocess.PIPE, text=True, check=True).stdout
        return [name for name in listed.split("\0") if name and (self.source / name).exists()]

    @functools.cached_property
    def sources(self):
        """The text of all that is no page, no seed of a fuzz target, and not the test whose mentions don't exist."""
        return {path: self.read(path) for path in self.files
                if not path.endswith((".md", ".svg", ".rec", "pagesSelfTest.py")) and not path.startswith("fuzz/seeds/")}

    @functools.cached_property
    def words(self):
        return set(re.findall(r"[A-Za-z_]\w*", "\n".join(self.sources.values())))

    @functools.cached_property
    def literals(self):
        """The texts in the sources, those that stand one behind the other joined."""
        text = "\n".join(text for path, text in self.sources.items() if path.startswith(("sw/", "scripts/", "bench/")))
        joined = re.sub(r'"\s*\n\s*"', "", text)
        return joined.replace('\\"', '"')

    @functools.cached_property
    def make_targets(self):
        """The recipe of each target."""
        recipes = re.findall(r"^([a-z-]+):.*\n((?:\t.*\n?)+)", self.read("Makefile"), re.M)
        return dict(recipes)

    @functools.cached_property
    def presets(self):
        return {preset["name"] for kind in ("configurePresets", "buildPresets", "testPresets")
                for preset in json.loads(self.read("CMakePresets.json")).get(kind, [])}

    @functools.lru_cache(maxsize=None)
    def options(self, program):
        """The options that a program or script tells."""
        if program.startswith("scripts/"):
            # Scripts that take options of another program say so by its name.
            text = self.read(program)
            named = [name for name in PROGRAMS if re.search(rf"\b{name}\b", text)] if "qdxload" in text else []
            python = re.findall(r"test/endurance/(\w+)\.py", text)
            text += "".join(self.read(f"test/endurance/{name}.py") for name in python)
            return set(OPTION.findall(text)).union(*(self.options(name) for name in named))
        helps = [[]] + [[name] for name in SUBCOMMANDS.get(program, [])]
        texts = [subprocess.run([self.build / PROGRAMS[program], *words, "--help"], stdout=subprocess.PIPE, text=True,
                                stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL, timeout=60).stdout
                 for words in helps]
        return set(OPTION.findall("\n".join(texts).replace(",", " ")))

    def has_path(self, path):
        """Also of a pattern; a path of another place than the tree has none here."""
        return bool(path.strip("/")) and any(self.source.glob(path.strip("/")))

    @functools.cached_property
    def folders(self):
        """The first names of all paths."""
        return {name.partition("/")[0] for name in self.files if "/" in name}

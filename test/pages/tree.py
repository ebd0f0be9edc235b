"""What exists: programs and their options, targets, scripts, paths and words of the sources."""
import functools
import itertools
import json
import pathlib
import re
import shlex
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
        recipes = re.findall(r"^([a-z]+):\n((?:\t.*\n?)+)", self.read("Makefile"), re.M)
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
        return any((self.source).glob(path.strip("/"))) if path.strip("/") else False

    def fault_of_command(self, line):
        """What does not exist of a command line, or nothing: programs, targets, scripts, options and paths."""
        for part in re.split(r"&&|\|\|?|;", line):
            try:
                words = shlex.split(part, comments=True)
            except ValueError as error:
                return f"{part.strip()}: {error}"
            variables = {}
            while words and re.match(r"[A-Z_]+=", words[0]):
                name, _, variables[name] = words.pop(0).partition("=")
                if name not in self.words:
                    return f"no source knows the variable {name}"
            fault = self._fault_of_words(words) if words else None
            if fault:
                return fault
        return None

    def _fault_of_words(self, words):
        program, *arguments = words
        if program == "make":
            return self._fault_of_make(arguments)
        if program.startswith("scripts/"):
            if not self.has_path(program):
                return f"there is no {program}"
            return self._fault_of_options(program, arguments)
        if program in ("dch", "rodc"):
            return self._fault_of_command_words(program, arguments) or self._fault_of_options(program, arguments)
        if program in PROGRAMS:
            return self._fault_of_options(program, arguments)
        if program.startswith("build/"):
            return self._fault_of_test_program(program, arguments)
        if program == "ctest":
            unknown = [word for word in arguments if not word.startswith("-") and word not in self.presets]
            return f"there is no preset {unknown[0]}" if unknown else None
        return None if program in OUTSIDE else f"{program} is none of the programs that pages may name"

    def _fault_of_make(self, arguments):
        target, *rest = arguments
        if target not in self.make_targets:
            return f"there is no target {target} in the Makefile"
        for word in rest:
            name, _, value = word.partition("=")
            if name not in MAKE_VARIABLES:
                return f"make {target} knows no {name}"
            scripts = re.findall(r"@(scripts/\S+) .*\$\(ARGS\)", self.make_targets[target])
            if name == "ARGS" and not scripts:
                return f"make {target} takes no ARGS"
            if name == "ARGS" and self._fault_of_options(scripts[0], shlex.split(value)):
                return self._fault_of_options(scripts[0], shlex.split(value))
        return None

    def _fault_of_command_words(self, program, arguments):
        """A row of the collector's tables begins with the first two words, or with the first and then a parameter."""
        words = list(itertools.takewhile(str.isalpha, arguments[:2]))
        rows = (" ".join([program, *words]), " ".join([program, *words[:1], "<"]))
        known = not words or any(f'"{row}' in self.literals for row in rows)
        return None if known else f"there is no command {rows[0]}"

    def _fault_of_options(self, program, arguments):
        for word in arguments:
            option = word.partition("=")[0]
            if OPTION.fullmatch(option) and option not in self.options(program):
                return f"{program} has no option {option}"
        return None

    def _fault_of_test_program(self, program, arguments):
        name = program.rpartition("/")[2]
        if f"qdx_add_tests({name}" not in "".join(text for path, text in self.sources.items()
                                                  if path.endswith("CMakeLists.txt")):
            return f"no CMakeLists.txt adds {name}"
        for word in arguments:
            found = re.fullmatch(r"--gtest_filter=(\w+).*", word)
            if found and found.group(1) not in self.words:
                return f"there is no test {found.group(1)}"
        return None


MAKE_VARIABLES = {"ARGS", "TIME", "DESTDIR"}
# Programs of Debian that pages may show.
OUTSIDE = {"zstd", "cmake", "lttng", "babeltrace2", "systemctl", "adduser", "usermod", "id", "grep", "export", "cp",
           "protoc", "systemd-analyze", "apt-get", "dpkg", "cd", "install", "journalctl", "xmllint", "jq"}

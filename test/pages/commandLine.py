"""What does not exist of a command line: its programs, their options, targets of make, scripts, presets, tests, paths."""
import itertools
import re
import shlex

from tree import OPTION, PROGRAMS

MAKE_VARIABLES = {"ARGS", "TIME", "DESTDIR"}
# Programs of Debian that pages may show.
OUTSIDE = {"zstd", "cmake", "lttng", "babeltrace2", "systemctl", "adduser", "usermod", "id", "grep", "export", "cp",
           "protoc", "systemd-analyze", "apt-get", "dpkg", "cd", "install", "journalctl", "xmllint", "jq",
           "kill", "ln", "rm", "rmdir", "sed", "setpriv", "sleep", "systemd-sysusers", "systemd-tmpfiles"}


def fault_of_command(line, tree):
    """The first fault, in words, or nothing."""
    for part in re.split(r"&&|\|\|?|;", line):
        try:
            words = shlex.split(part, comments=True)
        except ValueError as error:
            return f"{part.strip()}: {error}"
        while words and re.match(r"[A-Z_]+=", words[0]):
            name = words.pop(0).partition("=")[0]
            if name not in tree.words:
                return f"no source knows the variable {name}"
        fault = fault_of_words(words, tree) if words else None
        if fault:
            return fault
    return None


def fault_of_words(words, tree):
    program, *arguments = words
    for word in arguments:
        if word.partition("/")[0] in tree.folders and "/" in word and not tree.has_path(word):
            return f"there is no {word}"
    if program == "make":
        return fault_of_make(arguments, tree)
    if program == "ctest":
        unknown = [name for option, name in zip(arguments, arguments[1:])
                   if option == "--preset" and name not in tree.presets]
        return f"there is no preset {unknown[0]}" if unknown else None
    if program in ("dch", "rodc"):
        return fault_of_subcommand(program, arguments, tree) or fault_of_options(program, arguments, tree)
    if program in PROGRAMS:
        return fault_of_options(program, arguments, tree)
    if program.startswith("scripts/"):
        return fault_of_options(program, arguments, tree) if tree.has_path(program) else f"there is no {program}"
    if program.startswith("build/"):
        return None if program.removeprefix("build/") in tree.presets else fault_of_test_program(program, arguments, tree)
    return None if program in OUTSIDE else f"{program} is none of the programs that pages may name"


def fault_of_make(arguments, tree):
    target, *rest = arguments
    if target not in tree.make_targets:
        return f"there is no target {target} in the Makefile"
    for word in rest:
        name, _, value = word.partition("=")
        if name not in MAKE_VARIABLES:
            return f"make {target} knows no {name}"
        if name == "ARGS":
            scripts = re.findall(r"@(scripts/\S+) .*\$\(ARGS\)", tree.make_targets[target])
            fault = fault_of_options(scripts[0], shlex.split(value), tree) if scripts else f"make {target} takes no ARGS"
            if fault:
                return fault
    return None


def fault_of_subcommand(program, arguments, tree):
    """A row of the collector's tables begins with the first two words, or with the first and then a parameter."""
    words = list(itertools.takewhile(str.isalpha, arguments[:2]))
    rows = (" ".join([program, *words]), " ".join([program, *words[:1], "<"]))
    known = not words or any(f'"{row}' in tree.literals for row in rows)
    return None if known else f"there is no command {rows[0]}"


def fault_of_options(program, arguments, tree):
    for word in arguments:
        option = word.partition("=")[0]
        if OPTION.fullmatch(option) and option not in tree.options(program):
            return f"{program} has no option {option}"
    return None


def fault_of_test_program(program, arguments, tree):
    name = program.rpartition("/")[2]
    if not any(f"qdx_add_tests({name}" in text for path, text in tree.sources.items() if path.endswith("CMakeLists.txt")):
        return f"no CMakeLists.txt adds {name}"
    for word in arguments:
        found = re.fullmatch(r"--gtest_filter=(\w+).*", word)
        if found and found.group(1) not in tree.words:
            return f"there is no test {found.group(1)}"
    return None

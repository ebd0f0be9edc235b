"""Each fault that a page can have is found, on its line: pagesSelfTest.py BUILD [unittest arguments]"""
import pathlib
import sys
import unittest

sys.dont_write_bytecode = True
from mentions import Mentions
from page import FaultyPage, Page
from pageTest import SOURCE, PageRun
from tree import Tree

RUN = "<!-- run: unit=examples/host globalMemoryLimit=100000 -->\n"


def block(language, *lines, note=""):
    before = f"<!-- {note} -->\n" if note else ""
    return "\n".join([f"{before}```{language}", *lines, "```", ""])


class MentionsOfAPage(unittest.TestCase):
    tree = None

    def found(self, text):
        return [what for _, what in Mentions(Page(SOURCE / "doc/page.md", text), self.tree).faults()]

    def test_that_exist_are_no_faults(self):
        self.assertEqual(self.found("""# Faultless
            [here](#faultless) [there](memory.md#memory) `sw/backend/inc` `$UNIT_ROOT/run/ozo` `quardex.hpp`
            `--catalogue` `dch-filter --check` `dch fs add 0` `make soak ARGS='--minutes 60'` `scripts/load --follow`
            `ctest --preset asan` `"Created transaction: ..."` `globalMemoryLimit` `OZO_MAX_SIZE` `BudgetCap.Holds...`
            `tags CPU list count 10` `QDX_BUDGET_SEED=7 build/dev/sw/backend/qdxbe_budget_tests --gtest_filter='BudgetCap*'`
            `com_zelva_zelvasw_qdxbe` `lttng list -u` ``a ` b``"""), [])

    def test_that_do_not_exist_are_found(self):
        for mention, fault in {
            "[x](nowhere.md)": "there is no nowhere.md to link to",
            "[x](memory.md#nothing)": "memory.md has no heading nothing",
            "[x](#nothing)": "the page has no heading nothing",
            "`sw/nowhere.cpp`": "there is no sw/nowhere.cpp, neither here nor in the sources as a path of a unit",
            "`run/nowhere/socket`": "there is no run/nowhere/socket, neither",
            "`nowhere.xml`": "there is no nowhere.xml, neither",
            "`--nothing`": "no program has an option --nothing",
            "`dch-filter --nothing x`": "dch-filter has no option --nothing",
            "`qdxview --check`": "qdxview has no option --check",
            "`dch-filter examples/nowhere.filter`": "there is no examples/nowhere.filter",
            "`qfci pull 11 --check`": "qfci has no option --check",
            "`make nothing`": "there is no target nothing in the Makefile",
            "`make soak ARGS='--nothing 1'`": "scripts/soak has no option --nothing",
            "`make test ARGS='--nothing 1'`": "make test takes no ARGS",
            "`make soak ROUNDS=1`": "make soak knows no ROUNDS",
            "`scripts/nothing`": "there is no scripts/nothing",
            "`scripts/load --nothing`": "scripts/load has no option --nothing",
            "`ctest --preset nothing`": "there is no preset nothing",
            "`\"No such thing: ...\"`": 'no program says "No such thing:"',
            "`ERROR No such thing`": 'no program says "No such thing"',
            "`dch filter nothing`": "there is no command dch filter nothing",
            "`rodc pull 11`": "there is no command rodc pull",
            "`globalMemoryLimits`": "no source knows globalMemoryLimits",
            "`NoSuchTest.HoldsWater`": "no source knows NoSuchTest",
            "`NoSuchTest...`": "no source knows NoSuchTest",
            "`com_zelva_zelvasw_qdxbf`": "no source knows com_zelva_zelvasw_qdxbf",
            "`tags CPU min count 10 25`": "tags CPU min count 10 25: 25 is not a multiple of 10",
        }.items():
            with self.subTest(mention):
                faults = self.found(f"A page\nwith {mention} in it.\n")
                self.assertEqual(len(faults), 1, faults)
                self.assertTrue(faults[0].startswith(fault), faults)

    def test_faults_have_the_line_of_the_mention(self):
        page = Page("page.md", "first\n\n```text\nx\n```\n`make nothing`\n`--nothing`\n")
        self.assertEqual([line for line, _ in Mentions(page, self.tree).faults()], [6, 7])


class BlocksOfAPage(unittest.TestCase):
    def test_without_a_language_or_an_end_or_a_fence_are_refused(self):
        for text, line in {"a\n```\nls\n```\n": 2, "a\n```console\n$ ls\n": 2, "a\n\n    $ ls\n": 3}.items():
            with self.subTest(text), self.assertRaises(FaultyPage) as caught:
                Page("page.md", text)
            self.assertEqual(caught.exception.line, line)


class ExamplesOfAPage(unittest.TestCase):
    build = None

    @classmethod
    def setUpClass(cls):
        cls.run_of_page = PageRun(cls.build)

    @classmethod
    def tearDownClass(cls):
        cls.run_of_page.close()

    def found(self, text):
        return list(self.run_of_page.faults(Page("page.md", text)))

    def test_that_are_right_are_no_faults(self):
        self.assertEqual(self.found(
            RUN + block("console", "$ dch fs create \\", "limit 0", "Created transaction: 0", "$ dch fs commit 7", "...7...",
                        "$ echo $?", "2", "$ true", "", "$ seq 5", "1", "...", "5", "$ cd test", "$ false", "$ echo $?",
                        "1")
            + block("console", "$ basename $PWD", "test", "$ cd ..")
            + block("cpp", "int main() {", "// ...", "    packets.add(100);", note="examples/frontend/tenLines.cpp")
            + block("filter", "tags CPU max count 10 100")
            + block("xml", '<object id="1" name="a:b" type="meas"/>')
            + block("toml", "[qdx.staticFilters]", 'x = ["dch", "limit 0", "dch", "list count 5"]')
            + block("sh-long", "make soak ARGS='--minutes 60'   # long", "lttng create && lttng start")
            + block("text", "hostfe ──┐")), [])

    def test_that_are_wrong_are_found(self):
        for text, line in {
            block("console", "$ echo 1", "2"): 2,
            block("console", "$ true", "$ echo 1"): 3,
            block("console", "$ seq 3", "1", "...", "4"): 2,
            block("console", "$ false"): 2,
            block("console", "$ false", "..."): 2,
            block("console", "$ exit 1"): 2,
            block("console", "shown", "$ true"): 2,
            block("cpp", "int main() {"): 2,
            block("cpp", "int mein() {", note="examples/frontend/tenLines.cpp"): 3,
            block("cpp", "packets.add(100);", "// ...", "int main() {", note="examples/frontend/tenLines.cpp"): 5,
            block("cpp", "int main() {", note="examples/frontend/nowhere.cpp"): 3,
            block("filter", "tags CPU max count 10 25"): 2,
            block("filter", "tags NONE list count 5"): 2,
            block("filter", "tags LOAD list count 0"): 2,
            block("xml", '<object id="1" name="a:b" type="none"/>'): 2,
            block("toml", "[qdx]", "enabled = 0"): 2,
            block("toml", "[qdx.staticFilters]", 'enabledByDefault = ["x"]', 'x = ["dch", "limit 0", "dch", "lists 5"]'): 2,
            block("sh-long", "make soak", "make soak ARGS='--hours 1'"): 3,
            block("sh-long", "nothing --of-debian"): 2,
            block("text", "$ dch filter status"): 2,
            block("text", "", "dch filter status"): 3,
            block("hex", "00 01"): 2,
            block("cobol", "STOP RUN."): 2,
            "<!-- run: unit=examples/host maxMemory=1 -->\n": 1,
        }.items():
            with self.subTest(text):
                self.run_of_page.unit.stop()
                faults = self.found(text)
                self.assertEqual([found for found, _ in faults], [line], faults)
                if "exit" in text:
                    self.tearDownClass()
                    self.setUpClass()


if __name__ == "__main__":
    ExamplesOfAPage.build = sys.argv[1]
    MentionsOfAPage.tree = Tree(SOURCE, pathlib.Path(sys.argv[1]))
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:])

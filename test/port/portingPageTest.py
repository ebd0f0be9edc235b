"""The page for porters names the functions that the library wants of its host, all of them and no others.

usage: portingPageTest.py LIBRARY PAGE
"""
import pathlib
import re
import subprocess
import sys
import unittest

SERVICE = re.compile(r"(ozo_|Tessel::|Bevel::|Corbel::)")


def wanted():
    lines = subprocess.run(["nm", "--dynamic", "--undefined-only", "--demangle", LIBRARY], check=True,
                           capture_output=True, text=True).stdout
    names = (line.split(maxsplit=1)[1] for line in lines.splitlines())
    return {re.sub(r"(\[abi:\w+\])?\(.*", "", name) for name in names if SERVICE.match(name)}


def named():
    text = pathlib.Path(PAGE).read_text().split("<!-- held by PortingPageTest -->")[1].split("<!-- end -->")[0]
    return re.findall(r"`((?:ozo_|Tessel::|Bevel::|Corbel::)[\w:]+)`", text)


class PortingPage(unittest.TestCase):
    def test_names_each_function_that_the_library_wants_once(self):
        self.assertEqual(sorted(named()), sorted(wanted()))
        self.assertIn(f"wants {len(wanted())} functions", pathlib.Path(PAGE).read_text())


if __name__ == "__main__":
    LIBRARY, PAGE = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0]])

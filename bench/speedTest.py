"""Runs qdx_speed quickly and makes the page of its results: speedTest.py QDX_SPEED PERFORMANCE_PAGE"""
import pathlib
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

CASES = ["1 filter", "10 filters, all capture", "10 filters, 1 captures", "1 filter, counters", "1 filter, 100000 series",
         "pull, per value with its time", "end to end, collector's processor time", "memory of a series in a filter, budget"]
POINTS = 7 + 4  # of each line: numbers of series, numbers of filters


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def main(speed, page):
    with tempfile.TemporaryDirectory() as folder:
        results = pathlib.Path(folder) / "results"
        printed = run(speed, "--quick", "--tabbed", str(results))
        run(sys.executable, page, str(results), folder)
        text = (pathlib.Path(folder) / "performance.md").read_text()
        for case in CASES:
            assert f"\n{case}  " in printed, f"{case} is missing in:\n{printed}"
            assert f"\n| {case} | " in text, f"{case} is missing in:\n{text}"
        picture = xml.etree.ElementTree.parse(pathlib.Path(folder) / "performance.svg")
        circles = picture.findall(".//{http://www.w3.org/2000/svg}circle")
        assert len(circles) == 2 * (POINTS + 1), f"{len(circles)} points and keys are plotted"


main(*sys.argv[1:])

"""What the judge of a soak notices, and what it lets pass."""
import collections
import unittest

import judge
from killRounds import first_and_last
from seriesCheck import Plan, SeriesCheck

Row = collections.namedtuple("Row", "seconds resident_kib anonymous_kib descriptors threads files")
SOUND = Row(seconds=0, resident_kib=30_000, anonymous_kib=20_000, descriptors=17, threads=5, files=15)


def rows(seconds=3600, **columns):
    """A row each second; columns are functions of the second."""
    return [SOUND._replace(seconds=second, **{name: value(second) for name, value in columns.items()})
            for second in range(seconds)]


class JudgeTest(unittest.TestCase):
    def test_passes_a_collector_that_stays_as_it_is(self):
        self.assertEqual(judge.judge(rows()), [])

    def test_passes_growth_during_the_warm_up(self):
        self.assertEqual(judge.judge(rows(resident_kib=lambda second: 30_000 + 20 * min(second, 300))), [])

    def test_passes_what_comes_and_goes(self):
        self.assertEqual(judge.judge(rows(resident_kib=lambda second: 30_000 + 5000 * (second % 60 < 10),
                                          descriptors=lambda second: 17 + (second % 7 == 0),
                                          files=lambda second: 15 + second % 3)), [])

    def test_notices_memory_that_grows_by_a_kilobyte_a_second(self):
        faults = judge.judge(rows(resident_kib=lambda second: 30_000 + second))
        self.assertEqual(faults, ["resident_kib grew by 3299 KiB, 3600 KiB an hour"])

    def test_notices_a_heap_that_grows_while_the_whole_does_not(self):
        faults = judge.judge(rows(anonymous_kib=lambda second: 20_000 + second))
        self.assertEqual(faults, ["anonymous_kib grew by 3299 KiB, 3600 KiB an hour"])

    def test_notices_a_descriptor_that_leaks_once(self):
        self.assertEqual(judge.judge(rows(descriptors=lambda second: 17 + (second > 2000))),
                         ["descriptors grew from 17 to 18"])

    def test_notices_threads_and_files_that_grow(self):
        self.assertEqual(judge.judge(rows(threads=lambda second: 5 + second // 1000, files=lambda second: 15 + second // 60)),
                         ["threads grew from 5 to 7", "files grew from 20 to 61"])

    def test_refuses_to_judge_nothing(self):
        self.assertEqual(judge.judge([]), ["nothing was measured"])

    def test_slope_is_that_of_the_line_through_the_points(self):
        self.assertAlmostEqual(judge.slope([(0, 1), (1, 3), (2, 5)]), 2)
        self.assertAlmostEqual(judge.slope([(0, 0), (1, 2), (2, 1)]), 0.5)
        self.assertEqual(judge.slope([(1, 1), (1, 2)]), 0)


class FirstAndLastTest(unittest.TestCase):
    """What endure takes for the beginning and the end."""

    def first_and_last(self, *values):
        return first_and_last([SOUND._replace(descriptors=value) for value in values], "descriptors")

    def test_leaves_out_the_warm_up_and_what_comes_and_goes(self):
        self.assertEqual(self.first_and_last(9, 12, 17, 18, 18, 17, 19, 17), (17, 17))

    def test_sees_what_grows(self):
        self.assertEqual(self.first_and_last(17, 17, 17, 18, 18, 19, 19, 20), (17, 19))

    def test_takes_a_single_round(self):
        self.assertEqual(self.first_and_last(17), (17, 17))


def pull(*sequences, series=0, context="clientId=0,deviceId=0"):
    lines = [f'1,"{context}",{((series + 1) << 40) + sequence}' for sequence in sequences]
    return "\n".join(["id,context,raw", *lines]) + "\n"


class SeriesCheckTest(unittest.TestCase):
    def setUp(self):
        self.check = SeriesCheck(Plan(frontends=2, objects=3, contexts=4), list_size=4)

    def expect(self, *faults):
        self.assertEqual(faults, tuple(fault.partition(": ")[2] for fault in self.faults))

    def take(self, text, clear=False):
        self.faults = self.check.check(text, clear)

    def test_passes_lists_that_grow_are_cleared_and_overflow(self):
        for text, clear in [(pull(0, 1), False), (pull(0, 1, 2), True), (pull(3, 4), False), (pull(5, 6, 7, 8), True)]:
            self.take(text, clear)
            self.expect()
        self.assertEqual(self.check.values, 11)

    def test_knows_the_series_of_each_frontend_object_and_context(self):
        self.take(pull(0, series=1 * 12 + 0 * 4 + 3, context="clientId=1,deviceId=3"))
        self.expect()
        self.take(pull(0, series=3, context="clientId=1,deviceId=3"))
        self.expect("a value of another series")

    def test_notices_a_gap_a_repetition_and_a_wrong_order(self):
        for sequences in [(0, 2), (0, 0, 1), (1, 0)]:
            self.setUp()
            self.take(pull(*sequences))
            self.assertEqual(len(self.faults), 1)
            self.assertIn("some are lost, repeated or out of order", self.faults[0])

    def test_notices_samples_lost_between_a_pull_to_clear_and_the_next(self):
        self.take(pull(0, 1), clear=True)
        self.take(pull(3, 4))
        self.expect("begins at 3 instead of 2")

    def test_notices_samples_that_come_again_after_a_pull_to_clear(self):
        self.take(pull(0, 1), clear=True)
        self.take(pull(1, 2))
        self.expect("begins at 1 instead of 2")

    def test_notices_samples_that_vanish_from_a_list_with_room(self):
        self.take(pull(0, 1, 2))
        self.take(pull(1, 2, 3))
        self.expect("begins at 1 instead of 0")

    def test_notices_a_series_that_vanishes(self):
        self.take(pull(0, 1))
        self.take(pull(0, series=1, context="clientId=0,deviceId=1"))
        self.expect("all its values are gone")

    def test_lets_a_series_be_empty_after_a_pull_to_clear(self):
        self.take(pull(0, 1), clear=True)
        self.take(pull(0, series=1, context="clientId=0,deviceId=1"))
        self.expect()

    def test_notices_a_pull_that_is_older_than_the_one_before(self):
        self.take(pull(0, 1, 2))
        self.take(pull(0, 1))
        self.expect("ends at 2; the pull before had values up to 3")


if __name__ == "__main__":
    unittest.main()

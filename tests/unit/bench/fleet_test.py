#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What bench/fleet/run.py calculates with."""

import pathlib
import sys
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parents[3]
sys.path[:0] = [str(TOP / "tests"), str(TOP / "bench" / "fleet")]
import cases  # noqa: E402
import run  # noqa: E402
import servers  # noqa: E402
from harness.figures import Goals  # noqa: E402


class Words(unittest.TestCase):
    def test_options_are_written_as_the_generator_reads_them(self):
        self.assertEqual(servers.words({"read_back": 5, "fresh": True, "pid": [1, 2], "keep": False,
                                        "large": None, "warm_up": 0}),
                         ["--read-back", "5", "--fresh", "--pid", "1", "2", "--warm-up", "0"])


class Comparison(unittest.TestCase):
    def test_sides_take_turns_and_each_begins(self):
        order = []
        cases.in_turn({"a": lambda: order.append("a"), "b": lambda: order.append("b")}, 3)
        self.assertEqual("".join(order), "abbaab")

    def test_the_ratio_is_the_median_of_the_pairs(self):
        found = {"one": [2, 30, 8], "other": [1, 10, 2]}
        self.assertEqual(cases.ratio(found, lambda figure: figure, "one", "other"), 3)

    def test_a_wrong_answer_is_no_figure(self):
        self.assertEqual(cases.right({"failed": 0, "problems": []})["failed"], 0)
        with self.assertRaisesRegex(servers.Failed, "answered 500"):
            cases.right({"failed": 1, "problems": ["beat of 1: answered 500"]})
        with self.assertRaisesRegex(servers.Failed, "3 without an answer"):
            cases.right({"failed": 3, "problems": []})


class Servers(unittest.TestCase):
    SERVER = """trap 'echo "why it ends" >&2; exit {}' TERM
        echo listening on http://127.0.0.1:1
        while :; do sleep 0.01; done"""

    def ended(self, folder, status):
        server = servers.Listener("server", pathlib.Path(folder))
        server.start("sh", "-c", self.SERVER.format(status))
        server.close()

    def test_the_log_of_one_that_ends_badly_is_shown(self):
        with tempfile.TemporaryDirectory() as folder:
            with self.assertRaisesRegex(servers.Failed, "status 3, not 0; its log:\n  why it ends$"):
                self.ended(folder, 3)

    def test_the_log_of_one_that_ends_well_goes(self):
        with tempfile.TemporaryDirectory() as folder:
            self.ended(folder, 0)
            self.assertEqual(list(pathlib.Path(folder).glob("*.err")), [])


class GoalsTable(unittest.TestCase):
    def rows(self, goals):
        return [line.split(" | ")[-1].rstrip(" |") for line in goals.table().splitlines()[2:]]

    def test_a_figure_at_its_goal_meets_it(self):
        goals = Goals()
        goals.at_most("a", 1, 1)
        goals.at_least("b", 1, 1)
        goals.holds("c", "")
        goals.figure("d", 7)
        self.assertTrue(goals.met)
        self.assertEqual(self.rows(goals), ["met", "met", "met", ""])

    def test_one_that_is_missed_stays_missed(self):
        for miss in (lambda goals: goals.at_most("a", 1.01, 1),
                     lambda goals: goals.at_least("a", 0.99, 1),
                     lambda goals: goals.holds("a", "refused 3")):
            goals = Goals()
            miss(goals)
            self.assertEqual(self.rows(goals), ["MISSED"])
            goals.at_most("b", 1, 1)
            self.assertFalse(goals.met)


class Names(unittest.TestCase):
    def test_every_case_of_the_command_line_is_there(self):
        measures = cases.Measures(None, [], Goals(), None, None)
        self.assertEqual(tuple(measures.cases()), run.CASES)

    def test_what_cannot_be_measured_is_a_missed_goal(self):
        goals = Goals()

        class Backend:
            title = "SQLite"

            def seeded(self, **_what):
                raise servers.Failed("no such database")

            def forget(self):
                pass
        cases.Measures(None, [Backend()], goals, None, None).run("heartbeat-plain")
        self.assertIn("not measured: no such database", goals.table())
        self.assertFalse(goals.met)


if __name__ == "__main__":
    unittest.main()

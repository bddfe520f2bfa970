#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""That the check of the includes finds what it is there to find."""

import unittest

import includes

ROOMS = {"low": (), "low/inner": ("low",), "high": ("low",)}


def found(files, rooms=None):
    texts = {name: "".join(f'#include "{other}"\n' for other in others)
             for name, others in files.items()}
    return list(includes.problems(texts, ROOMS if rooms is None else rooms))


class Directions(unittest.TestCase):
    def test_downwards_and_within_a_room_is_right(self):
        self.assertEqual(found({"high/A.cpp": ["high/B.h", "low/C.h"], "high/B.h": [],
                                "low/C.h": []}), [])

    def test_upwards_is_found(self):
        self.assertEqual(found({"low/C.h": ["high/B.h"]}),
                         ["low/C.h: low must not include high/B.h"])

    def test_a_room_that_the_table_does_not_name_is_found(self):
        self.assertEqual(found({"high/B.h": ["low/inner/D.h"]}),
                         ["high/B.h: high must not include low/inner/D.h"])

    def test_the_innermost_room_counts(self):
        self.assertEqual(found({"low/inner/deep/D.h": ["low/C.h"]}), [])

    def test_a_file_in_no_room_is_found(self):
        self.assertEqual(found({"other/E.h": []}), ["other/E.h: in no room"])

    def test_an_include_from_no_room_is_found(self):
        self.assertEqual(found({"low/C.h": ["C.h"]}), ["low/C.h: C.h is in no room"])

    def test_a_table_in_a_circle_is_found(self):
        self.assertEqual(found({}, rooms={"a": ("b",), "b": ("c",), "c": ("a",), "d": ("a",)}),
                         [f"the table lets {room} include itself" for room in "abc"])

    def test_an_include_is_seen_however_it_is_written(self):
        text = ' #  include  "high/B.h"\n// #include "high/C.h"\n#include <high/D.h>\n'
        self.assertEqual(list(includes.problems({"low/C.h": text}, ROOMS)),
                         ["low/C.h: low must not include high/B.h"])


class Circles(unittest.TestCase):
    def test_a_header_and_its_source_are_one(self):
        self.assertEqual(found({"low/A.cpp": ["low/A.h"], "low/A.h": []}), [])

    def test_a_circle_of_two_is_found(self):
        self.assertEqual(found({"low/A.h": [], "low/A.cpp": ["low/A.h", "low/B.h"],
                                "low/B.h": ["low/A.h"]}),
                         ["include each other: low/A, low/B"])

    def test_a_circle_of_three_is_found_once(self):
        self.assertEqual(found({"low/A.h": ["low/B.h"], "low/B.h": ["low/C.h"],
                                "low/C.h": ["low/A.h"], "low/D.h": ["low/A.h"]}),
                         ["include each other: low/A, low/B, low/C"])


class Tree(unittest.TestCase):
    def test_every_room_of_the_table_is_one_of_the_tree(self):
        for room in includes.ROOMS:
            self.assertTrue((includes.pathlib.Path(__file__).parents[2] / room).is_dir(), room)


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""That the check of docs/kept-behaviour.md finds what it is there to find."""

import unittest

import kept

DOCUMENT = kept.DOCUMENT.read_text(encoding="utf-8")
SOURCES = kept.sources()
FILE = "device/Poster.cpp"
POINTER = "  // Kept: docs/kept-behaviour.md#first-change\n"
TEST = "PosterCovsTest.Only_the_first_of_a_pass_is_delivered"


class Document(unittest.TestCase):
    def changed(self, old, new):
        self.assertEqual(DOCUMENT.count(old), 1)
        return list(kept.problems(DOCUMENT.replace(old, new), SOURCES))

    def row(self):
        (found,) = [line for line in DOCUMENT.splitlines() if 'id="first-change"' in line]
        return found + "\n"

    def test_finds_nothing_in_the_document(self):
        self.assertEqual(list(kept.problems(DOCUMENT, SOURCES)), [])

    def test_finds_a_test_that_is_gone(self):
        self.assertEqual(self.changed(TEST, TEST + "_no_more"), [
            f"first-change: no such test: {TEST}_no_more"])

    def test_finds_a_file_that_is_gone(self):
        row = self.row()
        self.assertEqual(self.changed(row, row.replace(FILE, "device/Gone.cpp")), [
            "first-change: no such file: device/Gone.cpp"])

    def test_finds_a_function_that_is_gone(self):
        self.assertEqual(self.changed("`ProcessQueuedCov`", "`ProcessCovs`"), [
            f"first-change: not in {FILE}: ProcessCovs"])

    def test_finds_a_row_of_another_folder(self):
        row = self.row()
        moved = DOCUMENT.replace(row, "").replace("\n## base/", row + "\n## base/")
        self.assertEqual(list(kept.problems(moved, SOURCES)), [
            f"first-change: {FILE} is none of patch/"])

    def test_finds_a_row_that_stands_twice(self):
        row = self.row()
        self.assertEqual(self.changed(row, row * 2), ["2 rows: first-change"])

    def test_finds_a_row_without_a_test(self):
        row = self.row()
        bare = row[:row.index(f"`{TEST}`")] + "|\n"
        self.assertEqual(self.changed(row, bare), [
            f"no row: {row[:40]}", "a link to no row: first-change",
            f"{FILE}: no such row: first-change"])

    def test_finds_a_link_to_no_row(self):
        self.assertEqual(self.changed("(#cut-by-length)", "(#cut)"), ["a link to no row: cut"])

    def test_finds_a_missing_section(self):
        self.assertIn("the sections are not app, https, device, patch, base",
                      self.changed("## base/\n", "## Base\n"))


class Code(unittest.TestCase):
    def changed(self, old, new):
        self.assertEqual(SOURCES[FILE].count(old), 1)
        return list(kept.problems(DOCUMENT, {**SOURCES, FILE: SOURCES[FILE].replace(old, new)}))

    def test_finds_a_row_to_which_nothing_points(self):
        self.assertEqual(self.changed(POINTER, ""), [
            f"first-change: nothing in {FILE} points to it"])

    def test_finds_a_pointer_to_no_row(self):
        self.assertEqual(self.changed(POINTER, POINTER + POINTER.replace("change", "event")), [
            f"{FILE}: no such row: first-event"])

    def test_finds_a_pointer_within_a_line(self):
        self.assertEqual(self.changed(POINTER, POINTER + POINTER.replace("//", "// So:")), [
            f"{FILE}: a mention that is no line of its own"])

    def test_finds_what_is_deliberate_without_a_row(self):
        self.assertEqual(self.changed(POINTER, POINTER + "  // Deliberate.\n"), [
            f"{FILE}: says deliberate, and points to no row"])


if __name__ == "__main__":
    unittest.main()

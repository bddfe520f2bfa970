#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""That the check of docs/architecture.md finds what it is there to find."""

import unittest

import architecture

DOCUMENT = architecture.DOCUMENT.read_text(encoding="utf-8")


class Check(unittest.TestCase):
    def added(self, text):
        return list(architecture.problems(DOCUMENT + text))

    def test_finds_nothing_in_the_document(self):
        self.assertEqual(self.added(""), [])

    def test_finds_a_file_that_is_gone(self):
        self.assertEqual(self.added("`DeviceManager.cpp`"), ["no such file: DeviceManager.cpp"])

    def test_finds_a_file_in_another_folder(self):
        self.assertEqual(self.added("`patch/DeviceMgr.cpp`"), [
            "no such file: patch/DeviceMgr.cpp"])

    def test_finds_half_of_a_name(self):
        self.assertEqual(self.added("`Mgr.cpp`"), ["no such file: Mgr.cpp"])

    def test_finds_a_name_that_two_files_have(self):
        self.assertEqual(self.added("`HeaderText.cpp`"), ["2 files: HeaderText.cpp"])

    def test_finds_a_folder_that_is_gone(self):
        self.assertEqual(self.added("`devices/`"), ["no such folder: devices/"])

    def test_finds_an_operation_that_is_gone(self):
        self.assertEqual(self.added("`DeviceMgr::PostEverything`"), [
            "no such operation: DeviceMgr::PostEverything"])

    def test_finds_a_name_that_no_source_has(self):
        self.assertEqual(self.added("`CloudDispatcher`"), ["in no source: CloudDispatcher"])

    def test_passes_over_paths_of_a_machine(self):
        self.assertEqual(self.added("`/etc/cloudclient/none.json`"), [])

    def test_finds_links_that_lead_nowhere(self):
        self.assertEqual(self.added("[a](nothing.md) [b](kept-behaviour.md#nothing)"), [
            "a link to no file: nothing.md", "a link to no row: kept-behaviour.md#nothing"])

    def test_finds_that_the_document_is_empty(self):
        self.assertEqual(list(architecture.problems("")), ["names few files"])


if __name__ == "__main__":
    unittest.main()

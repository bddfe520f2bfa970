#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""That the check of docs/messages.md finds what it is there to find."""

import unittest

import messages

DOCUMENT = messages.DOCUMENT.read_text(encoding="utf-8")
ROW = "| 3 | `CloudClient OnStart: CloudClient m_ready=false` |"
VARYING = "Failed to register device with UUID(<uuid>)"


class Check(unittest.TestCase):
    def changed(self, old, new):
        self.assertEqual(DOCUMENT.count(old), 1)
        return list(messages.problems(DOCUMENT.replace(old, new)))

    def test_finds_nothing_in_the_document(self):
        self.assertEqual(list(messages.problems(DOCUMENT)), [])

    def test_finds_a_message_that_the_document_lacks(self):
        self.assertEqual(self.changed(ROW, "| 3 | |"), [
            "not in the document: 3 CloudClient OnStart: CloudClient m_ready=false"])

    def test_finds_a_message_that_no_source_has(self):
        more = ROW.replace("OnStart", "OnStop") + " x | |\n" + ROW
        self.assertEqual(self.changed(ROW, more), [
            "in no source: 3 CloudClient OnStop: CloudClient m_ready=false"])

    def test_finds_a_wrong_level(self):
        self.assertEqual(len(self.changed(ROW, ROW.replace("3", "4", 1))), 2)

    def test_finds_a_fixed_text_where_the_message_varies(self):
        self.assertEqual(len(self.changed(VARYING, VARYING.replace("<uuid>", "7"))), 2)

    def test_finds_a_message_that_stands_twice(self):
        self.assertEqual(self.changed(ROW, ROW + " x | |\n" + ROW), [
            "2 times in the document: 3 CloudClient OnStart: CloudClient m_ready=false"])

    def test_finds_a_missing_result_number(self):
        self.assertEqual(self.changed("| 24 | no chassis template |\n", ""), [
            "the numbers of AppResult are not those of app/CloudClient.h"])


if __name__ == "__main__":
    unittest.main()

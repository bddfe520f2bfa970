#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""That the check of docs/porting.md finds what it is there to find."""

import unittest

import porting
from harness.platform_operations import of_header

DOCUMENT = porting.DOCUMENT.read_text(encoding="utf-8")
HEADER = """
#ifndef A_H_
#define A_H_  // a; b{
namespace room {
class Later;
// A class; with { braces }.
class House : public Base {
 public:
  typedef void (*Callback)(int status, const Later* later);
  static const char* const NAME;
  House();
  explicit House(int number);
  House(const House&) = delete;
  virtual ~House() = default;
  virtual int Ask(std::string& text,
                  void (*callback)(int)) const = 0;

 private:
  struct Impl;
  Impl* m_impl;
};
}  // namespace room
int Free(int a) __attribute__((pure));
#endif
"""


class Headers(unittest.TestCase):
    def test_operations_of_a_header(self):
        self.assertEqual([(o.qualified, o.name, o.pure) for o in of_header(HEADER)], [
            ("room::House::NAME", "House::NAME", False),
            ("room::House::House", "House::House", False),
            ("room::House::Ask", "House::Ask", True),
            ("Free", "Free", False)])

    def test_a_header_holds_declarations_only(self):
        with self.assertRaisesRegex(ValueError, "int Tell\\(\\) const"):
            of_header(HEADER.replace("Impl* m_impl;", "int Tell() const { return 1; }"))


class Check(unittest.TestCase):
    def changed(self, old, new):
        self.assertEqual(DOCUMENT.count(old), 1)
        return list(porting.problems(DOCUMENT.replace(old, new)))

    def row(self, name):
        (found,) = [line for line in DOCUMENT.splitlines() if line.startswith(f"| `{name}` |")]
        return found + "\n"

    def test_finds_nothing_in_the_document(self):
        self.assertEqual(list(porting.problems(DOCUMENT)), [])

    def test_finds_an_operation_that_the_document_lacks(self):
        self.assertEqual(self.changed(self.row("LxTimerMgr::activate"), ""), [
            "not in the document: platform/util/LxTimerMgr.h LxTimerMgr::activate"])

    def test_finds_an_operation_that_no_header_has(self):
        row = self.row("LocalPath")
        self.assertEqual(self.changed(row, row + row.replace("LocalPath", "RemotePath")), [
            "in no header: platform/util/LocalPath.h RemotePath"])

    def test_finds_an_operation_that_stands_twice(self):
        row = self.row("LocalPath")
        self.assertEqual(self.changed(row, row * 2), [
            "2 times in the document: platform/util/LocalPath.h LocalPath"])

    def test_finds_an_operation_under_another_header(self):
        row = self.row("LocalPath")
        moved = DOCUMENT.replace(row, "").replace(
            self.row("GetGlobalAddress"), self.row("GetGlobalAddress") + row)
        self.assertEqual(list(porting.problems(moved)), [
            "not in the document: platform/util/LocalPath.h LocalPath",
            "in no header: platform/util/NetUtils.h LocalPath"])

    def test_finds_a_missing_header(self):
        self.assertEqual(self.changed("## platform/util/dlog.h\n", "## dlog\n"), [
            "0 sections of platform/util/dlog.h"])

    def test_finds_a_row_that_does_not_say_who_calls(self):
        self.assertEqual(self.changed("| return its argument | main, connecting |",
                                      "| return its argument | |"), [
            "a row without its cells: platform/util/LocalPath.h LocalPath"])


if __name__ == "__main__":
    unittest.main()

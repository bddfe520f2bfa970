#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Takes the README's picture of the page anew, with the appliances of the browser tests.

    scripts/page_picture.py --programs build/debug
"""

import argparse
import contextlib
import pathlib
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
PICTURE = TOP / "docs" / "page.png"
sys.path.insert(0, str(TOP / "tests"))  # the harness: see tests/harness/README.md
from harness.browser import Browser, Chromium  # noqa: E402
from harness.clocks import MovableClock  # noqa: E402
from harness.fleet import Fleet, seed  # noqa: E402
from harness.folders import case_folder  # noqa: E402
from harness.service import Service  # noqa: E402


def take(programs, path, picture):
    with case_folder() as folder:
        service = Service(programs, folder)
        fleet = Fleet(service, lambda start, speed: MovableClock(folder, start, speed))
        with contextlib.closing(service):
            fleet.starts()
            fleet.hires_operator()
            seed(fleet)
            with Chromium(folder) as chromium:
                browser = Browser(chromium, size=(1180, 620))
                hall = fleet.appliances["Hall 3 north"]
                browser.signs_in(service.url, path.replace("HALL", hall.uuid))
                browser.sees_text("Live", ".link")
                browser.until(lambda: not browser.find(".loading, .old"), "everything loaded")
                browser.screenshot(picture)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--programs", required=True, type=pathlib.Path,
                        help="CMake build folder with cloudservice")
    parser.add_argument("--path", default="/?sort=-alarms",
                        help="what is shown; HALL stands for the appliance that has readings")
    parser.add_argument("--picture", default=PICTURE, type=pathlib.Path, help="where it goes")
    given = parser.parse_args()
    take(given.programs.resolve(), given.path, given.picture.resolve())


if __name__ == "__main__":
    sys.exit(main())

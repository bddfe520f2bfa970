# SPDX-License-Identifier: Apache-2.0
"""Programs that Debian packages, without installing them.

Packages are fetched by `apt-get` and unpacked into a folder; no service of theirs is started.
"""

import pathlib
import re
import subprocess

TRIPLET = subprocess.run(["gcc", "-print-multiarch"], capture_output=True, text=True,
                         check=False).stdout.strip()


def unpack(folder, packages):
    """The packages below `folder`, fetched when they are not there yet; their tree."""
    folder = pathlib.Path(folder).resolve()
    tree = folder / "tree"
    if not (folder / "complete").exists():
        tree.mkdir(parents=True, exist_ok=True)
        # What is missing here of what they need comes along.
        planned = subprocess.run(
            ["apt-get", "install", "--simulate", "--no-install-recommends", *packages],
            check=True, capture_output=True, text=True).stdout
        names = sorted({*packages, *re.findall(r"(?m)^Inst (\S+)", planned)})
        subprocess.run(["apt-get", "download", "-qq", *names], cwd=folder, check=True,
                       stderr=subprocess.DEVNULL)
        for package in sorted(folder.glob("*.deb")):
            subprocess.run(["dpkg-deb", "--extract", package, tree], check=True)
        (folder / "complete").touch()
    return tree


def version(tree, package):
    (found,) = tree.parent.glob(f"{package}_*.deb")
    return re.sub(r"^\d+%3a", "", found.name.split("_")[1])

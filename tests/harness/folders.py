# SPDX-License-Identifier: Apache-2.0
"""The folder in which programs work."""

import contextlib
import pathlib
import tempfile


@contextlib.contextmanager
def case_folder(**more):
    """A folder that is removed afterwards. Short, since the path of a socket lies below it.
    `more`: see tempfile.TemporaryDirectory."""
    with tempfile.TemporaryDirectory(prefix="cc-", **more) as name:
        yield pathlib.Path(name)

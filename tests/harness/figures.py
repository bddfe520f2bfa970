# SPDX-License-Identifier: Apache-2.0
"""Figures of benchmarks: as tables, and against their goals."""


def table(head, rows):
    """Lines of Markdown; the first column is text, the others stand to the right."""
    lines = [head, ["---"] + ["---:"] * (len(head) - 1), *rows]
    return "".join("| " + " | ".join(map(str, line)) + " |\n" for line in lines)


class Goals:
    """Figures against what they may be at most, or at least."""

    def __init__(self):
        self._rows = []
        self.met = True

    def at_most(self, what, figure, goal, form="{:.2f}"):
        self._add(what, figure, f"at most {form.format(goal)}", figure <= goal, form)

    def at_least(self, what, figure, goal, form="{:.2f}"):
        self._add(what, figure, f"at least {form.format(goal)}", figure >= goal, form)

    def holds(self, what, wrong):
        """`wrong`: what did not hold; empty when all of it did."""
        self._rows.append([what, wrong or "held", "held", "MISSED" if wrong else "met"])
        self.met = self.met and not wrong

    def figure(self, what, figure, form="{:.2f}"):
        """One without a goal."""
        self._rows.append([what, form.format(figure), "", ""])

    def _add(self, what, figure, goal, met, form):
        self.met = self.met and met
        self._rows.append([what, form.format(figure), goal, "met" if met else "MISSED"])

    def table(self):
        """The figures since the last table."""
        rows, self._rows = self._rows, []
        return table(["against the goal", "measured", "goal", ""], rows)

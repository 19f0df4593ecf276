"""Finds the mutants and selects those of a run."""

import random
import re
from collections import Counter
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

from operators import OPERATORS, Edit
from source import Source

FOLDERS = ("optimizer", "common", "platform/netlink")


@dataclass(frozen=True)
class Mutant:
    kind: str
    source: Source
    edit: Edit

    @property
    def path(self):
        return self.source.path

    @property
    def folder(self):
        return str(Path(self.path).parent)

    @property
    def line(self):
        return self.source.line_of(self.edit.start)

    @property
    def text(self):
        """The whole mutated source."""
        text = self.source.text
        return text[: self.edit.start] + self.edit.text + text[self.edit.end :]

    @cached_property
    def change(self):
        """The changed lines before and after."""
        text = self.source.text
        first = text.rfind("\n", 0, self.edit.start) + 1
        last = text.find("\n", self.edit.end)
        before = text[first:last]
        after = before[: self.edit.start - first] + self.edit.text + before[self.edit.end - first :]
        return _stripped_lines(before), _stripped_lines(after)


def _stripped_lines(text):
    return tuple(line.strip() for line in text.splitlines() if line.strip())


def _is_production(path):
    return re.search(r"\.(cc|h)$", path.name) and not re.search(r"_test(_\w+)?\.\w+$", path.name)


def read_sources(root):
    paths = [path for folder in FOLDERS for path in sorted((root / folder).glob("*"))]
    return [
        Source(str(path.relative_to(root)), path.read_text())
        for path in paths
        if _is_production(path)
    ]


def find_mutants(source):
    """Returns the mutants of a source without duplicates, in order of position."""
    found = {}
    for kind, find in OPERATORS.items():
        for edit in find(source):
            found.setdefault((edit.start, edit.end, edit.text), Mutant(kind, source, edit))
    return [found[key] for key in sorted(found)]


def _quotas(sizes, sources, count):
    """Returns the number of mutants per source, by its lines with mutants; at least 1 for a .cc."""
    least = [
        1 if source.path.endswith(".cc") and size else 0 for source, size in zip(sources, sizes)
    ]
    rest = max(count - sum(least), 0)
    shares = [rest * size / max(sum(sizes), 1) for size in sizes]
    quotas = [minimum + int(share) for minimum, share in zip(least, shares)]
    by_remainder = sorted(range(len(shares)), key=lambda i: (int(shares[i]) - shares[i], i))
    for i in by_remainder[: max(count - sum(quotas), 0)]:
        quotas[i] += 1
    return [min(quota, size) for quota, size in zip(quotas, sizes)]


def make_plan(sources, count, seed):
    """Returns a list of alternatives for each mutant: the first one that compiles is used.

    The lines with mutants of a source are divided into as many pieces as its quota. Each piece
    gives one mutant, of the least used kind so far.
    """
    mutants = {source.path: find_mutants(source) for source in sources}
    lines = {path: sorted({mutant.line for mutant in each}) for path, each in mutants.items()}
    quotas = _quotas([len(lines[source.path]) for source in sources], sources, count)
    used = Counter()
    plan = []
    for source, quota in zip(sources, quotas):
        own = lines[source.path]
        for i in range(quota):
            piece = set(own[i * len(own) // quota : (i + 1) * len(own) // quota])
            alternatives = [mutant for mutant in mutants[source.path] if mutant.line in piece]
            chance = random.Random(f"{seed} {source.path} {i}")
            chance.shuffle(alternatives)
            alternatives.sort(key=lambda mutant: used[mutant.kind])
            used[alternatives[0].kind] += 1
            plan.append(alternatives)
    return plan

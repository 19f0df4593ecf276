"""Changes the code in small ways, one at a time, and reports which changes the tests detect.

It works in a copy of the tree, build/mutate. For each mutant it builds and runs the unit tests that
link it, those beside the source first, and then the whole-process tests. A surviving mutant
indicates a missing test, or is equivalent to the code. The latter are listed with their reasons in
script/mutation/answers. The exit code is 1 if a survivor is not listed there.
"""

import argparse
import os
import sys
import time
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

import answers
import plan
from operators import OPERATORS
from workshop import Outcome, UnfitTree, Unbuildable, Workshop

ROOT = Path(__file__).resolve().parent.parent.parent
COLUMNS = ("unit", "process", "time", "survived")


@dataclass(frozen=True)
class Result:
    number: int
    mutant: plan.Mutant
    outcome: Outcome
    answer: answers.Answer | None


def _parse_arguments():
    parser = argparse.ArgumentParser(
        prog="script/mutate",
        description=__doc__,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument("--list", action="store_true", help="only list the mutants")
    parser.add_argument("--only", action="append", metavar="N|FILE", default=[],
                        help="only this number, or the mutants of this file; may be repeated")
    parser.add_argument("--seed", default="1", metavar="S",
                        help="seed of the selection; 1 by default")
    parser.add_argument("--count", type=int, default=120, metavar="N",
                        help="number of mutants, 120 by default; at least one for each source")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), metavar="N",
                        help="parallel jobs of builds and whole-process tests; the number of "
                             "processors by default")  # fmt: skip
    return parser.parse_args()


def _chosen(slots, only):
    """Returns the mutants that --only selects, by number or by file."""
    return [
        (number, slot)
        for number, slot in slots
        if not only or str(number) in only or slot[0].path in only
    ]


def _describe(number, mutant):
    return f"{number:4} {mutant.path}:{mutant.line} {mutant.kind}"


def _print_change(mutant):
    for sign, lines in zip("-+", mutant.change):
        for line in lines:
            print(f"       {sign} {line}")


def _list(slots):
    for number, slot in slots:
        print(_describe(number, slot[0]))
        _print_change(slot[0])


def _try_slot(workshop, slot):
    """Returns the first alternative that compiles and its outcome, or None."""
    for mutant in slot:
        try:
            return mutant, workshop.try_mutant(mutant)
        except Unbuildable:
            continue
    return None


def _try_all(workshop, slots, known):
    results = []
    for number, slot in slots:
        began = time.monotonic()
        tried = _try_slot(workshop, slot)
        if tried is None:
            print(f"{number:4} {slot[0].path}: no mutant compiles", flush=True)
            continue
        mutant, outcome = tried
        result = Result(number, mutant, outcome, answers.find(known, mutant))
        results.append(result)
        how = "survived" if outcome.how == "survived" else f"killed ({outcome.how}: {outcome.by})"
        print(f"{_describe(number, mutant)} {how}, {time.monotonic() - began:.0f} s", flush=True)
        if outcome.how == "survived":
            _print_change(mutant)
    workshop.restore()
    return results


def _print_table(title, results, key):
    """Prints the outcomes of the mutants, grouped by `key`."""
    counts = Counter((key(each), each.outcome.how) for each in results)
    print(f"| {title} | mutants | by unit tests | by process tests | by time | alive | answered |")
    print("|---|---|---|---|---|---|---|")
    names = [*dict.fromkeys(key(each) for each in results)]
    for name in [*sorted(names), "all"]:
        mine = [each for each in results if name in (key(each), "all")]
        counts = Counter(each.outcome.how for each in mine)
        answered = sum(each.answer is not None for each in mine if each.outcome.how == "survived")
        cells = [name, len(mine), *(counts[column] for column in COLUMNS), answered]
        print("| " + " | ".join(map(str, cells)) + " |")
    print()


def _report(results):
    print()
    _print_table("kind", results, lambda each: each.mutant.kind)
    _print_table("folder", results, lambda each: each.mutant.folder + "/")
    alive = [each for each in results if each.outcome.how == "survived"]
    for each in alive:
        if each.answer is not None:
            print(f"{_describe(each.number, each.mutant)} survived: {each.answer.reason}")
    unanswered = [each for each in alive if each.answer is None]
    if unanswered:
        print(f"Survivors without an answer: {len(unanswered)}. Each needs a test, or a reason in")
        print(f"{answers.PATH}:")
    for each in unanswered:
        print(f"\n{answers.format_change(each.mutant)}")
    return not unanswered


def _check_answers(known, sources):
    mutants = [mutant for each in sources for mutant in plan.find_mutants(each)]
    stale = answers.find_stale(known, mutants)
    for each in stale:
        text = f"{answers.PATH}: {each.path} no longer has this mutant: {each.before[0]}"
        print(text, file=sys.stderr)
    return not stale


def main():
    arguments = _parse_arguments()
    sources = plan.read_sources(ROOT)
    known = answers.parse((ROOT / answers.PATH).read_text())
    if not _check_answers(known, sources):
        return 1
    slots = list(enumerate(plan.make_plan(sources, arguments.count, arguments.seed), start=1))
    slots = _chosen(slots, arguments.only)
    if not slots:
        print("script/mutate: --only selects no mutant", file=sys.stderr)
        return 1
    if arguments.list:
        _list(slots)
        return 0
    workshop = Workshop(ROOT, arguments.jobs)
    print(f"== {len(slots)} mutants; testing the unchanged code first, in {workshop.copy}", flush=True)
    try:
        workshop.prepare()
    except UnfitTree as unfit:
        print(f"script/mutate: {unfit}", file=sys.stderr)
        return 1
    return 0 if _report(_try_all(workshop, slots, known)) else 1


if __name__ == "__main__":
    sys.exit(main())

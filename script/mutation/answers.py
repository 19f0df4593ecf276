"""The accepted survivors, with the reason why no test can detect them."""

from dataclasses import dataclass

PATH = "script/mutation/answers"


@dataclass(frozen=True)
class Answer:
    path: str
    before: tuple
    after: tuple
    reason: str


def parse(text):
    """Parses blocks between empty lines: the file, lines with `-`, lines with `+` if any, the reason."""
    answers = []
    for block in text.split("\n\n"):
        lines = [line for line in block.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        before = tuple(line[2:] for line in lines if line.startswith("- "))
        after = tuple(line[2:] for line in lines if line.startswith("+ "))
        reason = " ".join(line.strip() for line in lines[1:] if line[0] not in "-+")
        if not (before and reason):
            raise ValueError(f"{PATH}: incomplete: {lines[0]}")
        answers.append(Answer(lines[0], before, after, reason))
    return answers


def format_change(mutant):
    before, after = mutant.change
    return "\n".join(
        [mutant.path, *(f"- {line}" for line in before), *(f"+ {line}" for line in after)]
    )


def find(answers, mutant):
    key = (mutant.path, *mutant.change)
    return next((each for each in answers if (each.path, each.before, each.after) == key), None)


def find_stale(answers, mutants):
    """Returns the answers without a mutant in the sources."""
    known = {(mutant.path, *mutant.change) for mutant in mutants}
    return [each for each in answers if (each.path, each.before, each.after) not in known]

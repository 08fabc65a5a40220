"""Commands and their output, as a Markdown page shows them, and the comparison with what really came."""
import re
from dataclasses import dataclass

OPEN = "…"  # in a shown line: anything; alone on a line: any lines


@dataclass
class Command:
    line: int
    text: str
    output: list  # None where none is shown


def fences(path):
    """(language, number of the first line, lines) of each block of code."""
    found, block = [], None
    for number, line in enumerate(open(path, encoding="utf-8"), 1):
        if line.startswith("```"):
            if block is None:
                block = (line[3:].strip(), number + 1, [])
            else:
                found.append(block)
                block = None
        elif block is not None:
            block[2].append(line.rstrip("\n"))
    return found


def blocks(path, language):
    return ["\n".join(lines) + "\n" for name, _, lines in fences(path) if name == language]


def commands_of(path):
    commands = []
    for language, first, lines in fences(path):
        if language == "sh":
            commands += [Command(first + i, line, None) for i, line in enumerate(lines) if line.strip()]
        elif language == "" and any(line.startswith("$ ") for line in lines):
            commands += with_output(first, lines)
    return commands


def with_output(first, lines):
    commands = []
    for number, line in enumerate(lines, first):
        if line.startswith("$ "):
            commands.append(Command(number, line[2:], None))
        elif commands:
            commands[-1].output = (commands[-1].output or []) + [line]
    return commands


def masked(line):
    """Numbers, digests and keys differ from run to run, and with them units and the width of columns."""
    line = re.sub(r"\x1b\[[0-9;]*m", "", line)
    line = re.sub(r"(?<!\S)[0-9a-zA-Z.\-:+=^!/*?&<>()\[\]{}@%$#]{40}(?!\S)", "KEY", line)
    line = re.sub(r"\b[0-9a-f]{16,}\b|0x[0-9a-f]+", "#", line)
    line = re.sub(r"\d+:\d\d min", "# s", line)
    line = re.sub(r"-?\d+(\.\d+)?", "#", line)
    line = re.sub(r"# (ms|us|s|min)\b", "# s", line)
    line = re.sub(r"# (bytes|KiB|MiB)", "# bytes", line)
    return re.sub(r"\s+", " ", line).strip()


def difference(shown, came, gaps):
    """None when `came` is what is shown; `gaps`: other lines may stand between those that are."""
    pattern = "(?:.*\n)*?" if gaps else ""
    for line in shown:
        parts = [re.escape(masked(part)) for part in line.split(OPEN)]
        pattern += "(?:.*\n)*?" if line.strip() == OPEN else " ?.* ?".join(parts) + " ?\n"
        if gaps:
            pattern += "(?:.*\n)*?"
    lines = [masked(line) for line in came.splitlines()]
    while lines and not lines[-1]:
        lines.pop()
    if re.fullmatch(pattern, "".join(line + "\n" for line in lines)):
        return None
    return "shown:\n  " + "\n  ".join(shown) + "\ncame:\n  " + "\n  ".join(came.splitlines())

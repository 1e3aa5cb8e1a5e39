"""What the documents hold in blocks of code and between backticks."""

from __future__ import annotations

import os
import re
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def documents() -> list[Path]:
    """Everything that a user or a maintainer reads."""
    return [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted((ROOT / "docs").glob("*.md"))]


TOOLS = ("facefeature", "cmake", "ctest", "cc", "python3", "sbatch", "mpirun")


@dataclass(frozen=True)
class Block:
    """Neighbouring lines that are indented by four spaces, without that indentation, or those between
    two fences."""

    place: str  # file and line, for words
    lines: tuple[str, ...]


def blocks_of(path: Path) -> list[Block]:
    found, lines, start, fenced = [], [], 0, False
    text = path.read_text(encoding="utf-8").split("\n") + ["end"]
    for number, line in enumerate(text, 1):
        if line.startswith("```"):
            fenced = not fenced
            line = ""
        if fenced:
            start = start if lines else number
            lines += [line] if lines or line else []
        elif line.startswith("    ") or (lines and not line.strip()):
            start = start if lines else number
            lines.append(line[4:])
        elif lines:
            while not lines[-1].strip():
                lines.pop()
            found.append(Block(f"{path.relative_to(ROOT)}:{start}", tuple(lines)))
            lines = []
    return found


def commands_of(block: Block) -> list[str]:
    """One command a line; a line that is indented goes on with the one above; what stands behind two
    spaces says what the command is for."""
    joined: list[str] = []
    for line in filter(str.strip, block.lines):
        words = re.split(r" {2,}", line.strip())[0]
        if line.startswith(" "):
            joined[-1] += " " + words
        else:
            joined.append(words)
    return joined


def is_command(line: str) -> bool:
    """Begins with this project's program, one of its scripts or builds, or a tool that builds."""
    first, *others = re.sub(r"^(\w+=\S+ )+", "", line).split(" ")
    if others and (first in TOOLS or first.startswith("build/")):
        return True
    script = ROOT / first
    return script.is_file() and os.access(script, os.X_OK) or line == "build/dev/cores_test"


def spans_of(path: Path) -> list[str]:
    """What stands between backticks, also across the end of a line."""
    text = re.sub(r"(?m)^    .*$|^```(.|\n)*?^```", "", path.read_text(encoding="utf-8"))
    return [re.sub(r"\s+", " ", span) for span in re.findall(r"`([^`]+)`", text)]


def forms_of(command: str) -> list[str]:
    """The commands that a line with [optional] and either|or parts stands for: all without optional
    parts, and one for each of these; each alternative once."""
    optional = re.findall(r" \[[^\]]*\]", command)
    bare = command
    for part in optional:
        bare = bare.replace(part, "")
    forms = []
    for part in ["", *optional]:
        words = bare + part.replace("[", "").replace("]", "")
        choice = re.search(r"[^ |]+(\|[^ |]+)+", words)
        for word in choice[0].split("|") if choice else [""]:
            forms.append(words.replace(choice[0], word) if choice else words)
    return list(dict.fromkeys(forms))

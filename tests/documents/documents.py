"""The documents, and their blocks of code."""

from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def documents() -> list[Path]:
    """All documents for users and maintainers."""
    return [
        *sorted(ROOT.glob("*.md")),
        *sorted((ROOT / "docs").glob("*.md")),
        *sorted((ROOT / "models").glob("*/*.md")),
        *sorted((ROOT / "bench").glob("**/*.md")),
    ]


@dataclass(frozen=True)
class Block:
    """A fenced block, or consecutive lines that are indented by four spaces."""

    location: str  # file and line, for messages
    language: str  # empty if the fence has none, and for indented lines
    lines: tuple[str, ...]


def blocks_of(path: Path) -> list[Block]:
    found, lines, start, language = [], [], 0, None
    text = path.read_text(encoding="utf-8").split("\n") + ["end"]
    for number, line in enumerate(text, 1):
        fence = line.startswith("```")
        closes = fence and language is not None
        if language is not None and not closes:
            lines.append(line)
            continue
        if language is None and not fence and (line.startswith("    ") or (lines and not line)):
            start = start if lines else number
            lines.append(line[4:])
            continue
        while lines and not lines[-1].strip():
            lines.pop()
        if lines:
            location = f"{path.relative_to(ROOT)}:{start}"
            found.append(Block(location, language or "", tuple(lines)))
        lines, language = [], None
        if fence and not closes:
            start, language = number + 1, line[3:].strip()
    return found


def commands_of(block: Block) -> list[str]:
    """The command lines of a shell block. An indented line, and a line after a backslash, continue
    the previous line. Two spaces or " # " start a comment."""
    joined: list[str] = []
    continues = False
    for line in filter(str.strip, block.lines):
        words = re.split(r" {2,}| # ", line.strip())[0]
        if joined and (continues or line.startswith(" ")):
            joined[-1] += " " + words.rstrip("\\").strip()
        elif not line.startswith("#"):
            joined.append(words.rstrip("\\").strip())
        continues = words.endswith("\\")
    return joined


def text_without_code(path: Path) -> str:
    text = path.read_text(encoding="utf-8")
    return re.sub(r"(?m)^    .*$|^```(.|\n)*?^```", "", text)


def spans_of(path: Path) -> list[str]:
    """The text between backticks, also across the end of a line."""
    spans = re.findall(r"`([^`]+)`", text_without_code(path))
    return [re.sub(r"\s+", " ", span) for span in spans]


def links_of(path: Path) -> list[str]:
    """The targets of links and pictures."""
    return re.findall(r"\]\(([^()\s]+)\)", text_without_code(path))


def anchors_of(path: Path) -> set[str]:
    """The anchors of a document: its headings, converted as GitHub does."""
    headings = re.findall(r"(?m)^#+ (.*)$", text_without_code(path))
    kept = (re.sub(r"[^\w\- ]", "", heading.lower()) for heading in headings)
    return {heading.strip().replace(" ", "-") for heading in kept}


def variants_of(command: str) -> list[str]:
    """The commands for which a line with [optional] and either|or parts stands: one without
    optional parts, one for each optional part, and each alternative once."""
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

"""The command line of the training kit: python3 -m facefeature.training COMMAND ..."""

from __future__ import annotations

import argparse
import importlib
import sys
from typing import List, NamedTuple, Optional

from ..errors import FaceFeatureError


class Command(NamedTuple):
    name: str
    module: str  # of this package; has add_arguments(parser) and run(arguments) -> exit status
    summary: str


COMMANDS = [
    Command("prepare", "prepare", "cut face chips out of photographs"),
    Command("outputs", "outputs", "compute the outputs of the nets for chips"),
    Command("fit", "fit", "fit the projections of a model to photographs of people"),
    Command("descriptors", "descriptors", "add the descriptors of a teacher to chips"),
    Command("train", "train", "train the nets and a projection"),
    Command("write", "write", "write a trained run as a folder of model files"),
    Command("evaluate", "evaluate", "measure error rates on people whom the training did not see"),
    Command("card", "card", "print the card of a model"),
]


def _parser(chosen: Optional[str]) -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="python3 -m facefeature.training",
        description="From photographs and the names of people to a folder of model files.",
        epilog="COMMAND --help lists the options of a command.",
    )
    commands = parser.add_subparsers(metavar="COMMAND", required=True)
    for command in COMMANDS:
        # Importing all modules would import PyTorch, which takes seconds.
        module = None
        if command.name == chosen:
            module = importlib.import_module(f".{command.module}", __package__)
        child = commands.add_parser(
            command.name, help=command.summary, description=getattr(module, "__doc__", None),
            formatter_class=argparse.RawDescriptionHelpFormatter,
        )  # fmt: skip
        if module is not None:
            module.add_arguments(child)
            child.set_defaults(run=module.run)
    return parser


def main(arguments: List[str]) -> int:
    """Exit status: 0 if the command did its work, 1 if it failed, 2 for a wrong command line."""
    try:
        parsed = _parser(arguments[0] if arguments else None).parse_args(arguments)
        return parsed.run(parsed)
    except (FaceFeatureError, OSError) as error:
        print(f"facefeature.training: {error}", file=sys.stderr)
        return 1
    except ModuleNotFoundError as error:
        print(f"facefeature.training: {error}. On Debian: apt-get install python3-torch python3-pil "
              "python3-scipy", file=sys.stderr)  # fmt: skip
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

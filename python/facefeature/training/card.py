"""Print the card of a model: data, teacher, training, error rates and limits, as MODEL.md.

All figures come from the files of the run, of the evaluation and of the fit. What no file holds,
such as the origin and the licence of the photographs, is given as text. The card says "unknown" for
what is not given, so that nobody takes silence for permission.

    python3 -m facefeature.training card RUN --model MODEL --evaluation REPORT.json \\
        --data "5,235 portraits of members of a parliament" > MODEL/MODEL.md
"""

from __future__ import annotations

import argparse
from pathlib import Path
from typing import List, Optional, Sequence, Tuple

from .._model import model_fingerprint
from . import report

_LIMITS = [
    "Error rates depend on the photographs. Those above hold for photographs like the ones that "
    "they were measured with, and for no others.",
    "Error rates by age, sex or origin are unknown if they are not listed above. Expect them to "
    "differ between groups.",
    "Do not base decisions about people on this model, and do not use it on people without their "
    "consent or another legal basis.",
]


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("run_folder", type=Path, metavar="RUN", help="folder that train wrote")
    parser.add_argument(
        "--model", type=Path, required=True, help="model folder that the card is of"
    )
    parser.add_argument("--name", help="of the model (default: the folder's name)")
    parser.add_argument(
        "--evaluation", type=Path, action="append", default=[], metavar="FILE",
        help="report.json of evaluate; may be repeated",
    )  # fmt: skip
    parser.add_argument("--fit", type=Path, metavar="FILE", help="fit.json of fit")
    for name, what in _TEXTS:
        parser.add_argument(f"--{name}", metavar="TEXT", help=what)


_TEXTS = [
    ("data", "what the photographs show and where they come from"),
    ("teacher", "what made the descriptors, and its licence"),
    ("data-licence", "what is known of the licence of the photographs"),
    ("licence", "of the model"),
]


def run(arguments: argparse.Namespace) -> int:
    print("\n".join(_card(arguments)))
    return 0


def _card(arguments: argparse.Namespace) -> List[str]:
    document = report.read_run(arguments.run_folder)
    settings, counts = document["settings"], document["counts"]
    lines = [f'# The model "{arguments.name or arguments.model.resolve().name}"', ""]
    lines += _table([("fingerprint", f"`{model_fingerprint(arguments.model)}`")])
    lines += ["", "## Data and licences", ""]
    lines += _table([
        ("photographs", arguments.data), ("licence of the photographs", arguments.data_licence),
        ("teacher", arguments.teacher), ("licence of this model", arguments.licence),
        ("chips trained with", _number(counts.get("chips"))),
        ("people trained with", _number(counts.get("people"))),
        ("chips and people held out",
         f"{_number(counts.get('held_out_chips'))} and {_number(counts.get('held_out_people'))}"),
    ])  # fmt: skip
    lines += ["", "## Training", ""]
    finished = "" if document.get("finished") else ", not finished"
    lines += _table(
        [("steps", f"{_number(document['step'])} of {_number(settings['steps'])}{finished}"),
         ("time", f"{document.get('seconds', 0) / 60:.1f} minutes on {document.get('device')}")]
        + [(name.replace("_", " "), _value(value)) for name, value in sorted(settings.items())
           if name not in ("steps", "archives", "held_out")]
    )  # fmt: skip
    lines += _losses(arguments.run_folder / "losses.csv")
    lines += _projections(arguments.fit)
    lines += _error_rates(arguments.evaluation, model_fingerprint(arguments.model))
    lines += ["", "## Limits", ""] + [f"- {limit}" for limit in _LIMITS]
    return lines


def _losses(path: Path) -> List[str]:
    columns = report.read_losses(path)
    names = report.loss_names(columns)
    if not names:
        return []
    return ["", "Losses at the last step that was logged:", ""] + _table(
        [(name, f"{columns[name][-1]:.4g}") for name in names]
    )


def _projections(path: Optional[Path]) -> List[str]:
    lines = ["", "## Projections", ""]
    if path is None:
        return lines + ["The linear map that was trained with the nets is both projections."]
    fit = report.read_json(path)
    return lines + [
        f"Fitted to {_number(fit['photographs'])} photographs of {_number(fit['people'])} people. "
        f"Cross validation over people chose: {fit['chosen']}."
    ]


def _error_rates(paths: Sequence[Path], fingerprint: str) -> List[str]:
    lines = ["", "## Error rates", ""]
    if not paths:
        return lines + ["Not measured."]
    for path in paths:
        measured = report.read_json(path)
        if measured["model"] != fingerprint:
            raise report.EvaluationError(
                f"{path}: measures the model {measured['model']}, and the card is of {fingerprint}"
            )
        lines += [
            f"{_number(measured['photographs'])} photographs of {_number(measured['people'])} "
            f"people ({measured['unseen']}): {_number(measured['genuine_pairs'])} pairs of one "
            f"person, {_number(measured['impostor_pairs'])} of two. In brackets: 95 % intervals, "
            f"by a bootstrap over people.",
            "",
        ]
        rates = [("equal error rate", _rate(measured["equal_error_rate"]))]
        for rate in measured["accept_rates"]:
            share = f"accepted at a false match rate of {100 * rate['false_match_rate']:g} %"
            rates.append((share, _rate(rate["accepted"])))
        rates.append(("the right person first", _rate(measured["rank_one"])))
        lines += _table(rates) + [""]
    return lines[:-1]


def _rate(rate: Optional[dict]) -> str:
    return report.percent(None if rate is None else report.Rate(**rate))


def _table(rows: Sequence[Tuple[str, Optional[str]]]) -> List[str]:
    return ["| | |", "|---|---|"] + [f"| {name} | {value or 'unknown'} |" for name, value in rows]


def _number(value: Optional[int]) -> str:
    return "unknown" if value is None else f"{value:,}"


def _value(value: object) -> str:
    if isinstance(value, dict):
        return ", ".join(f"{name} {_value(part)}" for name, part in value.items())
    return f"{value:g}" if isinstance(value, float) else str(value)

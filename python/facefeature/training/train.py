"""Train the 25 nets and a projection on chips, from a teacher's descriptors, from people, or both.

With descriptors in the archives (the command descriptors adds them), the nets learn to predict them
(--learn teacher). From people alone they learn an angular margin softmax (--learn people), which
needs several photographs of most people. The nets start with random weights, or with those of a
model (--start), to learn from other photographs. Patches are sampled anew for every step, with noise of
pose, expression, occlusion, light and landmarks.

RUN receives run.json (settings, counts, timings), checkpoint.pt, losses.csv, and at the end
nets.npz and projection.npz, which the command write turns into a model folder. The same command
continues a run that was stopped or killed, with the results that it would have had.

Several processes train together under PyTorch's own launcher:

    torchrun --nproc_per_node 8 -m facefeature.training train ...

The batch is then that of each process. If there are at least as many archives as processes, each
process reads only its own.
"""

from __future__ import annotations

import argparse
import contextlib
import csv
import ctypes
import json
import os
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import asdict, dataclass
from pathlib import Path
from typing import Dict, Iterator, List, Optional, Sequence

import numpy as np
import torch
import torch.distributed as dist
from torch.nn.parallel import DistributedDataParallel

from ..errors import FaceFeatureError
from . import chips, held_out, model_folder, write
from .augment import Noise
from .chips import Chips
from .patches import Faces, Patches, faces_of, training_patches
from .progress import Progress
from .student import Student, Weights

_MEAN_FACES = 1000
_LOSSES = ("loss", "teacher", "nets", "relation", "people")
_RATES = ("held_out_eer", "held_out_accept_1e-2", "held_out_accept_1e-3")
_COLUMNS = ("step", "faces", "seconds", "rate", *_LOSSES, *_RATES)


# Parameters of mallopt(3), from malloc.h.
_M_TRIM_THRESHOLD, _M_MMAP_MAX = -1, -4


class TrainingError(FaceFeatureError):
    """A run can't start or continue."""


@dataclass(frozen=True)
class Settings:
    """The settings that determine the result of a run; a run continues only with equal settings."""

    archives: List[str]
    learn: str
    steps: int
    batch: int
    seed: int
    rate: float
    warm_up: int
    weight_decay: float
    average: float
    held_out_share: float
    held_out: str
    precision: str
    noise: dict
    weights: dict
    processes: int
    start: str


def add_arguments(parser: argparse.ArgumentParser) -> None:
    add = parser.add_argument
    add("chips", nargs="+", type=Path, metavar="CHIPS", help="archives of chips")
    add("run_folder", type=Path, metavar="RUN", help="folder of the run")
    add("--learn", choices=["teacher", "people", "both"], default="teacher",
        help="what to learn from (teacher)")
    add("--start", type=Path, metavar="MODEL", help="model folder to start from")
    add("--steps", type=int, default=5000, help="steps of the whole run (5000)")
    add("--batch", type=int, default=64, help="faces per step and process (64)")
    add("--seed", type=int, default=1)
    add("--rate", type=float, default=2e-3, help="highest learning rate (0.002)")
    add("--warm-up", type=int, default=200, help="steps until the highest rate (200)")
    add("--weight-decay", type=float, default=1e-4, help="(0.0001)")
    add("--average", type=float, default=0.999,
        help="decay of the averaged weights, which are the result (0.999)")
    add("--held-out", type=Path, metavar="FILE",
        help="people to hold out, one per line, instead of a share")
    add("--held-out-share", type=float, default=0.05,
        help="share of the people to hold out, those with several photographs first (0.05)")
    for kind in ("pose", "expression", "occlusion", "light", "landmarks"):
        add(f"--{kind}-noise", type=float, default=1.0, metavar="X",
            help="amount of this noise (1)")
    add("--no-noise", action="store_true", help="no noise at all, and no mirrored faces")
    for kind, weight in Weights()._asdict().items():
        add(f"--{kind}-weight", type=float, default=weight, metavar="X",
            help=f"weight of this loss ({weight:g})")
    add("--precision", choices=["auto", "float32", "bfloat16", "float16"], default="auto",
        help="of the products; auto is bfloat16 where the processor has it, else float32")
    add("--device", default="auto", help="cpu, cuda, or auto: cuda if it is available (auto)")
    add("--threads", type=int, default=0, help="threads of PyTorch on the CPU (all CPUs)")
    add("--decoded-gib", type=float, default=1.0,
        help="keep decoded chips on the device if they all fit into so many GiB (1)")
    add("--minutes", type=float, default=0,
        help="stop after so many minutes; a later run continues")
    add("--checkpoint-steps", type=int, default=100, help="steps between checkpoints (100)")
    add("--validate-steps", type=int, default=500,
        help="steps between error rates on the held-out people (500)")
    add("--log-steps", type=int, default=10, help="steps between rows of losses.csv (10)")


def run(arguments: argparse.Namespace) -> int:
    with _processes(arguments) as group:
        settings = _settings(arguments, group)
        run = Run(settings, arguments, group)
        run.train()
    return 0


@dataclass(frozen=True)
class _Group:
    """The processes of a run, and the device of this one."""

    rank: int
    size: int
    device: str

    def any(self, value: bool) -> bool:
        """Whether the value of the first process is true."""
        if self.size == 1:
            return value
        flag = torch.tensor([float(value)], device=self.device)
        dist.broadcast(flag, 0)
        return bool(flag.item())


@contextlib.contextmanager
def _processes(arguments: argparse.Namespace) -> Iterator[_Group]:
    cuda = torch.cuda.is_available() if arguments.device == "auto" else arguments.device == "cuda"
    rank, size = int(os.environ.get("RANK", 0)), int(os.environ.get("WORLD_SIZE", 1))
    device = f"cuda:{os.environ.get('LOCAL_RANK', 0)}" if cuda else "cpu"
    if cuda:
        torch.cuda.set_device(device)
        torch.backends.cuda.matmul.allow_tf32 = True
    torch.set_num_threads(arguments.threads or max(1, (os.cpu_count() or 1) // size))
    if not cuda:
        _keep_freed_memory()
    if size == 1:
        yield _Group(0, 1, device)
        return
    dist.init_process_group("nccl" if cuda else "gloo")
    try:
        yield _Group(rank, size, device)
    finally:
        dist.destroy_process_group()


def _keep_freed_memory() -> None:
    """Makes glibc's malloc keep freed blocks. By default it returns large ones to the system, and
    every operation of a step pays for new pages. Other C libraries ignore this."""
    mallopt = getattr(ctypes.CDLL(None), "mallopt", None) if os.name == "posix" else None
    if mallopt:
        mallopt(_M_MMAP_MAX, 0)
        mallopt(_M_TRIM_THRESHOLD, 2**31 - 1)


def _settings(arguments: argparse.Namespace, group: _Group) -> Settings:
    kinds = ("pose", "expression", "occlusion", "light", "landmarks")
    noise = Noise(**{kind: getattr(arguments, f"{kind}_noise") for kind in kinds})
    weights = Weights(**{kind: getattr(arguments, f"{kind}_weight") for kind in Weights._fields})
    return Settings(
        archives=[str(path) for path in arguments.chips], learn=arguments.learn,
        steps=arguments.steps, batch=arguments.batch, seed=arguments.seed, rate=arguments.rate,
        warm_up=arguments.warm_up, weight_decay=arguments.weight_decay, average=arguments.average,
        held_out_share=arguments.held_out_share, held_out=str(arguments.held_out or ""),
        precision=_precision(arguments.precision, group.device),
        noise=asdict(Noise.none() if arguments.no_noise else noise),
        weights=weights._asdict(), processes=group.size, start=str(arguments.start or ""),
    )  # fmt: skip


def _precision(wanted: str, device: str) -> str:
    if wanted != "auto":
        return wanted
    if device != "cpu":
        return "bfloat16" if torch.cuda.is_bf16_supported() else "float16"
    with contextlib.suppress(OSError):
        flags = Path("/proc/cpuinfo").read_text(encoding="ascii", errors="ignore")
        if "amx_bf16" in flags or "avx512_bf16" in flags:
            return "bfloat16"
    return "float32"


class _Source:
    """Batches of faces, decoded before their step."""

    def __init__(self, chips: Chips, device: str, decoded_gib: float, threads: int) -> None:
        self._chips, self._device, self._threads = chips, device, threads
        self._pool = ThreadPoolExecutor(1)
        self._next: Optional[tuple] = None
        sizes = [self._size(k) for k in range(0, len(chips), max(1, len(chips) // 200))]
        side = max((max(size) for size in sizes), default=0)
        self._decoded: Optional[Faces] = None
        if len(chips) * 3 * side * side <= decoded_gib * 2**30:
            self._decoded = faces_of(chips, range(len(chips)), device, threads=threads)

    def faces(self, indices: Sequence[int], following: Optional[Sequence[int]]) -> Faces:
        """These chips. following: the chips of the next call, which are decoded in the meantime."""
        if self._decoded is not None:
            rows = torch.as_tensor(np.asarray(indices), device=self._device)
            return Faces(*(values[rows] for values in self._decoded))
        key = tuple(indices)
        faces = self._next[1].result() if self._next and self._next[0] == key else self._read(key)
        self._next = None
        if following is not None:
            key = tuple(following)
            self._next = (key, self._pool.submit(self._read, key))
        return faces

    def _read(self, indices: Sequence[int]) -> Faces:
        return faces_of(self._chips, list(indices), self._device, threads=self._threads)

    def _size(self, index: int) -> tuple:
        return self._chips.image(index).shape[:2]


class Run:
    """One run: its data, its modules, and its folder."""

    def __init__(self, settings: Settings, arguments: argparse.Namespace, group: _Group) -> None:
        self._settings, self._group = settings, group
        self._folder: Path = arguments.run_folder
        self._minutes: float = arguments.minutes
        self._every = (arguments.log_steps, arguments.checkpoint_steps, arguments.validate_steps)
        self._noise, self._noisy = Noise(**settings.noise), settings.noise != asdict(Noise.none())
        self._read_chips(arguments)
        torch.manual_seed(settings.seed)
        weights = Weights(**settings.weights)
        length = self._teacher.shape[1] if self._teacher is not None else 0
        self._student = Student(length, len(self._classes), weights).to(group.device)
        self._optimizer = torch.optim.AdamW(
            self._parameter_groups(), lr=settings.rate, weight_decay=settings.weight_decay
        )
        self._scaler = torch.cuda.amp.GradScaler(enabled=settings.precision == "float16")
        self._step, self._seconds = 0, 0.0
        if self._group.rank == 0:
            self._folder.mkdir(parents=True, exist_ok=True)
        if not self._continue():
            self._start()
        self._averaged = [p.detach().clone() for p in self._student.parameters()]
        if self._restored is not None:
            for average, value in zip(self._averaged, self._restored):
                average.copy_(value)

    # Data

    def _read_chips(self, arguments: argparse.Namespace) -> None:
        settings, group = self._settings, self._group
        paths = settings.archives
        shared = len(paths) < group.size
        own = paths if shared else paths[group.rank :: group.size]
        # Without archives of its own a process draws from all chips, a different part of each step.
        self._stride, self._offset = (group.size, group.rank) if shared else (1, 0)
        everybody = np.concatenate([chips.people(path) for path in paths])
        away = self._held_out_people(everybody)
        all_chips = chips.concatenate([chips.load(path) for path in own])
        is_held_out = np.isin(all_chips.people, sorted(away)) & (all_chips.people != "")
        self._held_out = all_chips.select(np.flatnonzero(is_held_out))
        self._chips = all_chips.select(np.flatnonzero(~is_held_out))
        if not len(self._chips):
            raise TrainingError("no chips are left to train with")
        self._teacher, self._classes, self._labels = None, [], None
        if settings.learn != "people":
            self._teacher = self._centred_teacher()
        if settings.learn != "teacher":
            self._classes = sorted(set(everybody.tolist()) - away - {""})
            number = {name: k for k, name in enumerate(self._classes)}
            labels = [number.get(name, -1) for name in self._chips.people.tolist()]
            self._labels = torch.tensor(labels, device=group.device)
            if len(self._classes) < 2:
                raise TrainingError("learning from people needs at least two people to train with")
        self._source = _Source(
            self._chips, group.device, arguments.decoded_gib, torch.get_num_threads()
        )
        self._counts = {
            "chips": len(self._chips), "held_out_chips": len(self._held_out),
            "people": len(set(everybody.tolist()) - away - {""}), "held_out_people": len(away),
        }  # fmt: skip

    def _held_out_people(self, everybody: np.ndarray) -> set:
        if self._settings.held_out:
            lines = Path(self._settings.held_out).read_text(encoding="utf-8").splitlines()
            return {line.strip() for line in lines} - {""}
        return held_out.choose_people(everybody, self._settings.held_out_share, self._settings.seed)

    def _centred_teacher(self) -> torch.Tensor:
        if self._chips.teacher is None:
            raise TrainingError(
                "the archives have no descriptors of a teacher. Add them with the command "
                "descriptors, or learn from people (--learn people)."
            )
        teacher = torch.from_numpy(self._chips.teacher.astype(np.float32))
        mean = teacher.mean(0)
        if self._group.size > 1:
            mean = mean.to(self._group.device)
            dist.all_reduce(mean)
            mean = mean.cpu() / self._group.size
        return (teacher - mean).to(self._group.device)

    def _indices(self, step: int) -> np.ndarray:
        """The chips of a step: every chip once before any is repeated."""
        count, batch = len(self._chips), self._settings.batch
        first = (step * self._stride + self._offset) * batch
        numbers = np.arange(first, first + batch)
        return np.array([self._order(n // count)[n % count] for n in numbers])

    def _order(self, epoch: int) -> np.ndarray:
        if getattr(self, "_orders", (None,))[0] != epoch:
            rank = 0 if self._stride > 1 else self._group.rank
            generator = np.random.default_rng([self._settings.seed, 2, rank, epoch])
            self._orders = (epoch, generator.permutation(len(self._chips)))
        return self._orders[1]

    def _start(self) -> None:
        if self._settings.start:
            self._student.set_model(model_folder.read(self._settings.start))
        else:
            self._student.nets.set_means(self._patch_means())

    def _patch_means(self) -> Patches:
        """Mean patches of up to _MEAN_FACES chips, both samples of each."""
        chosen = np.random.default_rng([self._settings.seed, 3]).permutation(len(self._chips))
        chosen, sums = chosen[:_MEAN_FACES], None
        for start in range(0, len(chosen), 50):
            patches = training_patches(self._source.faces(chosen[start : start + 50], None))
            parts = [x.double().sum(1) for x in patches]
            sums = parts if sums is None else [s + x for s, x in zip(sums, parts)]
        means = [(s / (2 * len(chosen))).float() for s in sums]
        if self._group.size > 1:
            for mean in means:
                dist.all_reduce(mean)
                mean /= self._group.size
        return means

    # Training

    def train(self) -> None:
        settings = self._settings
        model: torch.nn.Module = self._student
        if self._group.size > 1:
            ids = None if self._group.device == "cpu" else [self._group.device]
            model = DistributedDataParallel(self._student, device_ids=ids)
        faces_a_step = settings.batch * settings.processes
        progress = Progress(
            "train", settings.steps * faces_a_step, "faces", done=self._step * faces_a_step
        )
        started, before = time.monotonic(), self._seconds
        log, checkpoint, validate = self._every
        if self._step == 0:
            self._write_summary(finished=False)
        stopped = False
        while self._step < settings.steps and not stopped:
            losses = self._train_step(model)
            self._step += 1
            self._seconds = before + time.monotonic() - started
            last = self._step == settings.steps
            rates = self._validate() if last or self._step % validate == 0 else None
            if last or rates or self._step % log == 0:
                self._log(losses, rates)
            stopped = self._step % 10 == 0 and self._minutes > 0 and self._group.any(
                time.monotonic() - started > 60 * self._minutes
            )  # fmt: skip
            if last or stopped or self._step % checkpoint == 0:
                self._write_checkpoint()
            if self._group.rank == 0:
                note = f"loss {losses['loss']:.4f}"
                progress.update(self._step * faces_a_step, note)
                if rates:
                    progress.print(f"{note}, equal error {100 * rates['held_out_eer']:.2f} %")
        self._write_result(finished=self._step == settings.steps)

    def _train_step(self, model: torch.nn.Module) -> Dict[str, float]:
        settings, group = self._settings, self._group
        indices = self._indices(self._step)
        faces = self._source.faces(indices, self._indices(self._step + 1))
        seed = np.random.SeedSequence([settings.seed, 4, group.rank, self._step])
        generator = torch.Generator().manual_seed(int(seed.generate_state(1, np.uint64)[0]) >> 1)
        with torch.no_grad():
            if self._noisy:
                faces = self._noise.apply(faces, generator)
            patches = training_patches(faces)
        rows = torch.as_tensor(indices, device=group.device)
        descriptors = None if self._teacher is None else self._teacher[rows]
        people = None if self._labels is None else self._labels[rows]
        for parameters in self._optimizer.param_groups:
            parameters["lr"] = self._rate()
        with self._autocast():
            losses = model(patches, descriptors, people)
        if not torch.isfinite(losses["loss"]):
            raise TrainingError(f"the loss of step {self._step} is not finite. Lower --rate.")
        self._optimizer.zero_grad(set_to_none=True)
        self._scaler.scale(losses["loss"]).backward()
        self._scaler.step(self._optimizer)
        self._scaler.update()
        self._average()
        return {name: float(value.detach()) for name, value in losses.items()}

    def _autocast(self):
        if self._settings.precision == "float32":
            return contextlib.nullcontext()
        kind = self._group.device.split(":")[0]
        return torch.autocast(kind, dtype=getattr(torch, self._settings.precision))

    def _rate(self) -> float:
        warm = min(1.0, (self._step + 1) / max(1, self._settings.warm_up))
        falling = 0.5 * (1 + np.cos(np.pi * self._step / self._settings.steps))
        return float(self._settings.rate * warm * falling)

    def _parameter_groups(self) -> List[dict]:
        decays = [p for p in self._student.parameters() if p.ndim > 1]
        others = [p for p in self._student.parameters() if p.ndim <= 1]
        return [{"params": decays}, {"params": others, "weight_decay": 0.0}]

    def _average(self) -> None:
        keep = min(self._settings.average, (self._step + 1) / (self._step + 20))
        with torch.no_grad():
            for average, value in zip(self._averaged, self._student.parameters()):
                average.lerp_(value, 1 - keep)

    @contextlib.contextmanager
    def _with_averages(self) -> Iterator[None]:
        """Gives the student the averaged weights while the block runs."""
        self._exchange()
        try:
            yield
        finally:
            self._exchange()

    def _exchange(self) -> None:
        for average, value in zip(self._averaged, self._student.parameters()):
            average.data, value.data = value.data, average.data

    def _validate(self) -> Optional[Dict[str, float]]:
        if self._group.rank != 0 or not len(self._held_out):
            return None
        with self._with_averages(), torch.no_grad():
            outputs = held_out.joined_outputs(
                self._student.nets, self._held_out, self._group.device
            )
            return held_out.error_rates(
                outputs, self._student.mean, self._student.projection, self._held_out.people
            )

    # Files

    def _continue(self) -> bool:
        """Loads the last checkpoint. Returns False if there is none."""
        self._restored = None
        path, summary = self._folder / "checkpoint.pt", self._folder / "run.json"
        if not path.exists():
            return False
        was = json.loads(summary.read_text(encoding="utf-8"))["settings"]
        differing = [key for key, value in asdict(self._settings).items() if was.get(key) != value]
        if differing:
            raise TrainingError(
                f"{self._folder}: has a run with another {', '.join(differing)}. Name another "
                "folder, or the settings of that run."
            )
        saved = torch.load(path, map_location=self._group.device)
        self._student.load_state_dict(saved["student"])
        self._optimizer.load_state_dict(saved["optimizer"])
        self._scaler.load_state_dict(saved["scaler"])
        self._restored = saved["averaged"]
        self._step, self._seconds = saved["step"], saved["seconds"]
        if self._group.rank == 0:
            self._drop_rows_after(self._step)
            print(f"train: {self._folder}: continues after step {self._step}", flush=True)
        return True

    def _write_checkpoint(self) -> None:
        if self._group.rank != 0:
            return
        partial = self._folder / "checkpoint.pt.partial"
        torch.save({
            "student": self._student.state_dict(), "optimizer": self._optimizer.state_dict(),
            "scaler": self._scaler.state_dict(), "averaged": self._averaged,
            "step": self._step, "seconds": self._seconds,
        }, partial)  # fmt: skip
        os.replace(partial, self._folder / "checkpoint.pt")

    def _log(self, losses: Dict[str, float], rates: Optional[Dict[str, float]]) -> None:
        if self._group.rank != 0:
            return
        path = self._folder / "losses.csv"
        fresh = not path.exists()
        values = {**losses, **(rates or {})}
        row = [self._step, self._step * self._settings.batch * self._settings.processes,
               f"{self._seconds:.1f}", f"{self._rate():.6g}"]  # fmt: skip
        row += [f"{values[name]:.6g}" if name in values else "" for name in (*_LOSSES, *_RATES)]
        with open(path, "a", newline="", encoding="utf-8") as file:
            if fresh:
                csv.writer(file).writerow(_COLUMNS)
            csv.writer(file).writerow(row)

    def _drop_rows_after(self, step: int) -> None:
        path = self._folder / "losses.csv"
        if not path.exists():
            return
        with open(path, newline="", encoding="utf-8") as file:
            rows = list(csv.reader(file))
        kept = rows[:1] + [row for row in rows[1:] if row and int(row[0]) <= step]
        with open(path, "w", newline="", encoding="utf-8") as file:
            csv.writer(file).writerows(kept)

    def _write_result(self, finished: bool) -> None:
        if self._group.rank != 0:
            return
        with self._with_averages():
            model = self._student.model()
        write.write_run(model, self._folder / "nets.npz", self._folder / "projection.npz")
        self._write_summary(finished)
        state = "finished" if finished else "stopped; the same command continues"
        print(f"train: {self._folder}: step {self._step} of {self._settings.steps}, {state}")

    def _write_summary(self, finished: bool) -> None:
        if self._group.rank != 0:
            return
        summary = {
            "settings": asdict(self._settings), "counts": self._counts, "step": self._step,
            "finished": finished, "seconds": round(self._seconds, 1),
            "held_out_people": sorted(set(self._held_out.people.tolist())),
            "torch": torch.__version__, "device": self._group.device,
            "threads": torch.get_num_threads(),
        }  # fmt: skip
        partial = self._folder / "run.json.partial"
        partial.write_text(json.dumps(summary, indent=1) + "\n", encoding="utf-8")
        os.replace(partial, self._folder / "run.json")

// What the examples in JavaScript share: vectors out of galleries, exact scores for what engines find.
import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { parseArgs } from "node:util";

const here = dirname(fileURLToPath(import.meta.url));
const program = process.env.FACEFEATURE ?? "facefeature";
const python = process.env.PYTHON ?? "python3";

// A command reports its errors itself.
function run(command, words) {
  const { status, error } = spawnSync(command, words, { stdio: "inherit" });
  if (error) throw error;
  if (status !== 0) process.exit(status ?? 1);
}

// Calls findCandidates(rows, probes, candidates, count) with files: the exported rows and probes, and
// a CSV file to write, with the columns probe and id and up to count rows for each probe. Then scores
// the candidates exactly. The command line is GALLERY PROBES ANSWERS.csv [--top K] and perhaps flags,
// whose values are passed on.
export async function searchWith(engine, ending, findCandidates, flags = []) {
  const { values, positionals } = parseArgs({
    allowPositionals: true,
    options: {
      top: { type: "string", default: "10" },
      ...Object.fromEntries(flags.map((flag) => [flag, { type: "boolean", default: false }])),
    },
  });
  if (positionals.length !== 3) throw new Error("usage: GALLERY PROBES ANSWERS.csv [--top K]");
  const [gallery, probes, answers] = positionals;
  const folder = mkdtempSync(join(tmpdir(), "facefeature-engine-"));
  process.on("exit", () => rmSync(folder, { recursive: true }));
  const file = (name) => join(folder, name + ending);
  const exported = (source, name, ...more) =>
    run(program, ["gallery", "export", source, "--to", engine, "-o", file(name), ...more]);
  exported(gallery, "rows");
  exported(probes, "probes", "--form", join(folder, "rows.form.json"), "--probes");
  const candidates = join(folder, "candidates.csv");
  await findCandidates(file("rows"), file("probes"), candidates, 4 * Number(values.top), values);
  const rescore = [join(here, "rescore.py"), gallery, probes, candidates, answers];
  run(python, [...rescore, "--top", values.top]);
}

// A NumPy file as export writes it: { ids, vectors }, a Float32Array for each id.
export function readVectors(path) {
  const bytes = readFileSync(path);
  const start = 10 + bytes.readUInt16LE(8);
  const header = bytes.toString("latin1", 10, start);
  const [, count, width] = header.match(/'shape': \((\d+), (\d+)\)/).map(Number);
  const floats = new Float32Array(bytes.buffer, bytes.byteOffset + start, count * width);
  const ids = readFileSync(path.replace(/npy$/, "ids.txt"), "utf8").split("\n").slice(0, count);
  return { ids, vectors: ids.map((_, i) => floats.subarray(i * width, (i + 1) * width)) };
}

export function csvField(text) {
  return `"${text.replaceAll('"', '""')}"`;
}

#!/usr/bin/env node
// Searches a gallery with LanceDB and gives the answers exact scores.
//
//     examples/engines/lancedb_search.mjs GALLERY PROBES ANSWERS.csv [--top K]
//
// PROBES is a gallery too. "npm install" in this folder installs LanceDB. A graph index (HNSW, m 32,
// ef 256) over numbers of 8 bits finds candidates, and the vectors themselves rank them; the library's
// own arithmetic scores them again, so the scores have the bits of CompareFeatures.
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { connect, Index } from "@lancedb/lancedb";
import { csvField, readVectors, searchWith } from "./engine_forms.mjs";

async function findCandidates(rowsFile, probesFile, candidates, count) {
  const rows = readVectors(rowsFile);
  const probes = readVectors(probesFile);
  const folder = mkdtempSync(join(tmpdir(), "facefeature-lancedb-"));
  try {
    const database = await connect(folder);
    const records = rows.ids.map((id, i) => ({ id, vector: Array.from(rows.vectors[i]) }));
    const table = await database.createTable("faces", records);
    await table.createIndex("vector", {
      config: Index.hnswSq({ distanceType: "l2", numPartitions: 1, m: 32, efConstruction: 200 }),
    });
    const lines = ["probe,id"];
    for (const [i, probe] of probes.ids.entries()) {
      const found = await table
        .vectorSearch(probes.vectors[i])
        .distanceType("l2")
        .ef(256)
        .refineFactor(4)
        .select(["id", "_distance"])
        .limit(count)
        .toArray();
      for (const row of found) lines.push(`${csvField(probe)},${csvField(row.id)}`);
    }
    writeFileSync(candidates, lines.join("\n") + "\n");
    database.close();
  } finally {
    rmSync(folder, { recursive: true });
  }
}

await searchWith("lancedb", ".npy", findCandidates);

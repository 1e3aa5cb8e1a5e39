#!/usr/bin/env node
// Searches a gallery with PostgreSQL and pgvector and writes the matches with exact scores.
//
//     examples/engines/pgvector_search.mjs GALLERY PROBES ANSWERS.csv [--top K] [--half] [--partitioned]
//
// PROBES is also a gallery. PGlite, a PostgreSQL in this process, runs the statements; a server runs
// the same ones. "tools/install-packages engines" installs it. An HNSW index (m 32, ef_search 256)
// finds candidates, and the library's own arithmetic scores them again, so the scores have the bits
// of CompareFeatures. --half indexes the vectors in half precision. --partitioned distributes the
// rows over four partitions, each with an index of its own, and the candidates are those of all
// partitions. The sizes of the table and of the index go to standard error.
import { readFileSync, writeFileSync } from "node:fs";
import { PGlite } from "@electric-sql/pglite";
import { vector } from "@electric-sql/pglite-pgvector";
import { searchWith } from "./engine_forms.mjs";

const PARTITIONS = 4;

async function findCandidates(rows, probes, candidates, count, { half, partitioned }) {
  const database = await PGlite.create({ extensions: { vector } });
  // A server reads and writes its own files, or those of psql's \copy, instead of /dev/blob.
  const load = (table, path) =>
    database.query(`COPY ${table} (id, embedding) FROM '/dev/blob' WITH (FORMAT csv, HEADER)`, [], {
      blob: new Blob([readFileSync(path)]),
    });
  // PLAIN keeps a vector in its row. Elsewhere, each candidate would need two reads more.
  await database.exec(`
    CREATE EXTENSION vector;
    CREATE TABLE faces (id text PRIMARY KEY, embedding vector(503) NOT NULL)
      ${partitioned ? "PARTITION BY HASH (id)" : ""};
    ALTER TABLE faces ALTER COLUMN embedding SET STORAGE PLAIN;
    CREATE TABLE probes (
      row bigserial PRIMARY KEY, id text NOT NULL, embedding vector(503) NOT NULL);
  `);
  for (let part = 0; partitioned && part < PARTITIONS; ++part) {
    await database.exec(`
      CREATE TABLE faces_${part} PARTITION OF faces
        FOR VALUES WITH (MODULUS ${PARTITIONS}, REMAINDER ${part})`);
  }
  await load("faces", rows);
  await load("probes", probes);
  const type = half ? "halfvec" : "vector";
  await database.exec(`
    SET maintenance_work_mem = '512MB';
    CREATE INDEX faces_embedding ON faces
      USING hnsw ((embedding::${type}(503)) ${type}_l2_ops) WITH (m = 32, ef_construction = 200);
    SET hnsw.ef_search = 256;
    SET enable_seqscan = off;
  `);
  const answer = await database.query(`
    COPY (
      SELECT probes.id AS probe, found.id
      FROM probes CROSS JOIN LATERAL (
        SELECT id FROM faces
        ORDER BY embedding::${type}(503) <-> probes.embedding::${type}(503) LIMIT ${count}
      ) AS found
      ORDER BY probes.row
    ) TO '/dev/blob' WITH (FORMAT csv, HEADER)`);
  writeFileSync(candidates, await answer.blob.text());
  const sizes = await database.query(`
    SELECT (SELECT count(*) FROM faces) AS rows,
      (SELECT sum(pg_relation_size(relid)) FROM pg_partition_tree('faces')) AS table,
      (SELECT sum(pg_relation_size(relid)) FROM pg_partition_tree('faces_embedding')) AS index`);
  const { rows: faces, table, index } = sizes.rows[0];
  console.error(`${faces} rows: table ${table} bytes, index ${index} bytes`);
  await database.close();
}

await searchWith("pgvector", ".csv", findCandidates, ["half", "partitioned"]);

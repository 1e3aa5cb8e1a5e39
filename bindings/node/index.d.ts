/** Number of floats in a feature. */
export const FEATURE_FLOATS: 502;

/** A feature: FEATURE_FLOATS floats. */
export type Feature = Float32Array;

export interface Image {
  /** Rows from the top, without gaps; 8 bits a channel. "BGR" is used in place, others are copied. */
  data: Uint8Array;
  /** At least 2. */
  width: number;
  /** At least 2. */
  height: number;
  /** The order of the channels of a pixel. There is no default: a wrong guess also gives a feature. */
  channels: 'BGR' | 'RGB' | 'BGRA' | 'RGBA';
}

export interface Landmark {
  /** 0 to 317. */
  id: number;
  /** In pixels of the image; the centre of the top left pixel is (0, 0). */
  x: number;
  y: number;
}

/** The landmarks of one face, an object that contains them, or the path of a landmark file. */
export type Landmarks = Landmark[] | {landmarks: Landmark[]} | string;

export interface EngineOptions {
  /** The folder with the 303 files of a model. It is checked with "facefeature model check". */
  model: string;
  /** The file of the shared library. Default: FACEFEATURE_LIBRARY, or what the system's loader finds. */
  library?: string;
}

/**
 * The library with a model, ready to extract. All engines of a process have the same model.
 *
 * Worker threads of Node.js do not share this bookkeeping: create and close engines in one thread
 * only, while no other thread extracts.
 */
export class Engine {
  /** Throws if the model is incomplete, if an engine of another model is open, or during extractAsync. */
  constructor(options: EngineOptions);
  /** The feature of one face. Throws for input that the library would reject, and for a NaN. */
  extract(image: Image, landmarks: Landmarks): Feature;
  /** The same on another thread. An engine extracts one face at a time, and image must not change. */
  extractAsync(image: Image, landmarks: Landmarks): Promise<Feature>;
  /** Frees the engine. Throws during extractAsync of any engine. A second call does nothing. */
  close(): void;
}

/**
 * The features of many faces, in their order, with one engine for each processor unless engines says
 * otherwise. Node.js runs UV_THREADPOOL_SIZE (4) extractions at the same time at most. Start it with
 * OMP_NUM_THREADS=1, because the engines fill the processors. Rejects with the first error.
 */
export function extractMany(
    faces: Array<{image: Image; landmarks: Landmarks}>,
    options: EngineOptions & {engines?: number}): Promise<Feature[]>;

/** The score of two features of one model: the higher, the more alike the faces. NaN for NaNs. */
export function compare(a: Feature, b: Feature): number;

export interface Match {
  /** 1 is the best. */
  rank: number;
  id: string;
  /** Null if it is infinite. */
  score: number | null;
}

/**
 * A gallery file. Each call runs the program: FACEFEATURE_PROGRAM, or "facefeature" on the path. Each
 * throws an Error with the program's message.
 */
export class Gallery {
  constructor(file: string);
  ids(): string[];
  /** All rows by id, in the order of the gallery. */
  features(): Map<string, Feature>;
  /**
   * Adds a row to a gallery that exists. A feature does not know its model, so the first row of a new
   * gallery comes from a photograph: "facefeature gallery add", or "facefeature extract --list".
   */
  add(id: string, feature: Feature, options?: {replace?: boolean}): void;
  remove(...ids: string[]): void;
  /** The rows that score highest, for each feature; top 0 is no limit. Every row is scored. */
  search(feature: Feature, options?: {top?: number; threshold?: number}): Match[];
  search(features: Feature[], options?: {top?: number; threshold?: number}): Match[][];
}

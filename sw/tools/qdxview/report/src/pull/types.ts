// What a pull holds, as the page works with it. Numbers stay exact: values and times have 64 bits.

export type Kind = "measurement" | "counter" | "record";
export type Method = "min" | "max" | "average" | "list" | "sum";
export type Scope = "count" | "duration";

/** "max count 10" is the largest of each 10 samples, "average duration 60" the mean of each 60 seconds. */
export interface Aggregation {
  method: Method;
  scope: Scope;
  size: number;
}

/** What one aggregator kept of one object in one context, oldest first. */
export interface Collection {
  kind: Kind;
  id: number;
  /** Keys and numbers in the order of the schema; empty for values without context. */
  context: [string, number][];
  /** Null if the pull doesn't tell. */
  aggregation: Aggregation | null;
  /** Seconds since the epoch. There may be fewer or more than values. */
  times: BigUint64Array;
  /** Of measurements and counters: raw, not scaled by the unit's resolution. */
  numbers: BigInt64Array;
  /** Of records: the serialised messages. */
  records: Uint8Array[];
}

/** Who the values come from; what isn't told is absent. */
export interface Radio {
  swProductNumber?: string;
  swProductRevision?: string;
  hwProductNumber?: string;
  hwProductRevision?: string;
  hwSerialNumber?: string;
  hwName?: string;
}

export interface Pull {
  radio: Radio;
  collections: Collection[];
}

export function sizeOf(collection: Collection): number {
  return collection.numbers.length + collection.records.length;
}

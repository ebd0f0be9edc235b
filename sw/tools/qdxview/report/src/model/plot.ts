// A panel's values along time, ready to be drawn.
import type { Collection } from "../pull/types";
import type { Panel } from "./panels";
import { lastTime } from "./time";

export interface Row {
  part: Collection;
  /** The value's place in the part for each time; -1 where the part has none. */
  indices: Int32Array;
  /** Scaled; null where the part has none. */
  heights: Float64Array | (number | null)[];
}

export interface Plot {
  /** Seconds since the epoch, in order; the same one may come again. */
  times: Float64Array;
  rows: Row[];
  /** Values without a time that can be drawn. */
  untimed: number;
}

/** The places of values that have a time that can be drawn, by time. */
function timedIndices(part: Collection): Int32Array {
  const count = Math.min(part.times.length, part.numbers.length);
  const indices = new Int32Array(count);
  let timed = 0;
  let sorted = true;
  for (let index = 0; index < count; ++index) {
    const time = part.times[index]!;
    if (time <= lastTime) {
      sorted &&= timed === 0 || part.times[indices[timed - 1]!]! <= time;
      indices[timed++] = index;
    }
  }
  const result = indices.subarray(0, timed);
  return sorted ? result : result.sort((a, b) => Number(part.times[a]! - part.times[b]!) || a - b);
}

export function plotOf(panel: Panel): Plot {
  const columns = panel.parts.map((part) => new Column(part, timedIndices(part)));
  const plot = columns.length === 1 ? plotOfOne(panel, columns[0]!) : plotOfSeveral(panel, columns);
  for (const { part, indices } of columns) {
    plot.untimed += part.numbers.length - indices.length;
  }
  return plot;
}

/** A part, and how far its values were taken. */
class Column {
  next = 0;
  readonly times: Float64Array;
  /** How many values of the same time follow. */
  readonly following: Int32Array;

  constructor(
    readonly part: Collection,
    readonly indices: Int32Array,
  ) {
    this.times = Float64Array.from(indices, (index) => Number(part.times[index]!));
    this.following = new Int32Array(indices.length);
    for (let place = indices.length - 2; place >= 0; --place) {
      this.following[place] =
        this.times[place] === this.times[place + 1] ? this.following[place + 1]! + 1 : 0;
    }
  }

  get time(): number {
    return this.next < this.times.length ? this.times[this.next]! : Infinity;
  }

  get followers(): number {
    return this.following[this.next]!;
  }
}

function plotOfOne(panel: Panel, { part, indices, times }: Column): Plot {
  const heights = Float64Array.from(indices, (index) => panel.scale.number(part.numbers[index]!));
  return { times, rows: [{ part, indices, heights }], untimed: 0 };
}

/**
 * Parts may go back differently far, and times are whole seconds, of which several values may share one. They share
 * the newest, so values of one second are matched from its end.
 */
function plotOfSeveral(panel: Panel, columns: Column[]): Plot {
  const times: number[] = [];
  const places = columns.map(() => [] as number[]);
  for (;;) {
    const time = Math.min(...columns.map((column) => column.time));
    if (time === Infinity) {
      break;
    }
    const here = columns.filter((column) => column.time === time);
    const followers = Math.max(...here.map((column) => column.followers));
    times.push(time);
    columns.forEach((column, row) => {
      const takesPart = column.time === time && column.followers === followers;
      places[row]!.push(takesPart ? column.indices[column.next++]! : -1);
    });
  }
  const rows = columns.map(({ part }, row) => {
    const indices = Int32Array.from(places[row]!);
    const heights = Array.from(indices, (index) =>
      index < 0 ? null : panel.scale.number(part.numbers[index]!),
    );
    return { part, indices, heights };
  });
  return { times: Float64Array.from(times), rows, untimed: 0 };
}

export interface Range {
  first: number;
  last: number;
}

/** From the oldest to the newest time that can be drawn; null if there is none. */
export function rangeOf(collections: Iterable<Collection>): Range | null {
  let first: bigint | null = null;
  let last = 0n;
  for (const { times } of collections) {
    for (const time of times) {
      if (time <= lastTime) {
        first = first === null || time < first ? time : first;
        last = time > last ? time : last;
      }
    }
  }
  return first === null ? null : { first: Number(first), last: Number(last) };
}

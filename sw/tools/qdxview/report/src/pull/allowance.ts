// How much a page can bear: a byte of a message can take a thousand times as much in the browser.
import { BadPull } from "./badPull";

export interface Limits {
  collections: number;
  /** Of measurements and counters. */
  values: number;
  records: number;
  /** Inside the records of one table. */
  registers: number;
  times: number;
}

const pageLimits: Limits = {
  collections: 200_000,
  values: 5_000_000,
  records: 1_000_000,
  registers: 1_000_000,
  times: 5_000_000,
};

export class Allowance {
  private readonly taken: Limits = { collections: 0, values: 0, records: 0, registers: 0, times: 0 };

  constructor(private readonly limits = pageLimits) {}

  /** One of them. Throws BadPull if that is one too many. */
  take(what: keyof Limits): void {
    if (++this.taken[what] > this.limits[what]) {
      throw new BadPull(`It holds more than ${this.limits[what].toLocaleString("en")} ${what}.`);
    }
  }
}

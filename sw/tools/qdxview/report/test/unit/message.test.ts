import { BinaryWriter } from "@bufbuild/protobuf/wire";
import { describe, expect, test } from "vitest";
import { Allowance, type Limits } from "../../src/pull/allowance";
import { BadPull } from "../../src/pull/badPull";
import { decodePulls } from "../../src/pull/message";
import { messagesInFile } from "../../src/pull/text";
import type { Collection, Pull } from "../../src/pull/types";
import { encodePull, type Part } from "../support/encode";
import { qdxview, readSource } from "../support/program";
import { afternoon, dice } from "../support/sample";

const decodePull = (bytes: Uint8Array) => decodePulls([bytes])[0]!;

/** As protobuf's JSON has it, which qdxview writes. */
function jsonOf(pull: Pull): unknown {
  const named = (kind: string) =>
    pull.collections.filter((collection) => collection.kind === kind).map(collectionJson);
  return {
    version: 1,
    measurementCollections: named("measurement"),
    counterCollections: named("counter"),
    recordCollections: named("record"),
    radioMetaData: pull.radio,
  };
}

function collectionJson({ id, aggregation, context, times, numbers, records }: Collection): unknown {
  const values = [
    ...[...numbers].map(String),
    ...records.map((record) => Buffer.from(record).toString("base64")),
  ];
  const method = aggregation?.method === "average" ? "avg" : aggregation?.method;
  return {
    id,
    ...(values.length > 0 && { values }),
    ...(times.length > 0 && { timestamps: [...times].map(String) }),
    ...(method && { [method]: { subtype: aggregation!.scope.toUpperCase(), size: aggregation!.size } }),
    ...(context.length > 0 && { context: Object.fromEntries(context) }),
  };
}

const golden = "sw/tools/pull/test/golden";

describe("a message", () => {
  test("with something of everything is read as qdxview reads it", () => {
    const pull = decodePull(readSource(`${golden}/everything.raw`));
    expect(jsonOf(pull)).toEqual(JSON.parse(readSource(`${golden}/everything.json`).toString()));
  });

  test("of random collections is read as qdxview reads it", () => {
    const roll = dice(20);
    const pick = <Item>(...items: Item[]) => items[Math.floor(roll() * items.length)]!;
    const number = () => pick(0n, -1n, 2n ** 63n - 1n, -(2n ** 63n), BigInt(Math.floor(roll() * 1e6)));
    for (let round = 0; round < 12; ++round) {
      const parts = Array.from({ length: 8 }, (): Part => {
        const kind = pick("measurement", "counter", "record");
        return {
          kind,
          id: Math.floor(roll() * 2 ** 32),
          method:
            kind === "measurement"
              ? pick("min", "max", "average", "list")
              : kind === "counter"
                ? pick("sum", "list")
                : "list",
          scope: pick("count", "duration"),
          size: Math.floor(roll() * 2 ** 32),
          context: { rfBranch: pick(0, -(2 ** 31), 2 ** 31 - 1), deviceId: 7 },
          times: Array.from({ length: Math.floor(roll() * 5) }, () =>
            pick(0n, 2n ** 64n - 1n, 1_714_557_600n),
          ),
          values: Array.from({ length: Math.floor(roll() * 5) }, () =>
            kind === "record"
              ? Uint8Array.from({ length: Math.floor(roll() * 9) }, () => roll() * 256)
              : number(),
          ),
        };
      });
      const bytes = encodePull(parts, { hwName: `é${round}` });
      const read = jsonOf(decodePull(bytes)) as Record<string, unknown[]>;
      const withoutEmpty = Object.fromEntries(Object.entries(read).filter(([, value]) => value.length !== 0));
      expect(withoutEmpty).toEqual(JSON.parse(qdxview(bytes, "--raw", "--format", "json")));
    }
  });

  test("behind another one adds its collections", () => {
    const one = encodePull([{ kind: "counter", id: 1, values: [5] }]);
    const both = decodePull(Buffer.concat([one, encodePull([{ kind: "counter", id: 2, values: [6] }])]));
    expect(both.collections.map(({ id }) => id)).toEqual([1, 2]);
  });

  test("may have its numbers packed", () => {
    const packed = Uint8Array.of(8, 1, 0x12, 7, 8, 7, 0x12, 3, 1, 0x96, 1);
    expect([...decodePull(packed).collections[0]!.numbers]).toEqual([1n, 150n]);
  });

  test("may have fields that nobody knows", () => {
    const unknown = Uint8Array.of(8, 1, 0x78, 5, 0x12, 6, 8, 7, 0xfa, 1, 1, 65);
    expect(decodePull(unknown).collections[0]!.id).toBe(7);
  });

  test("is refused without its version and of another one", () => {
    expect(() => decodePull(Uint8Array.of(0x12, 2, 8, 7))).toThrow(/without version/);
    expect(() => decodePull(Uint8Array.of(8, 3))).toThrow(
      "It has version 3 of the format; this page reads version 1.",
    );
  });

  test("tells where it is damaged", () => {
    expect(() => decodePull(Uint8Array.of(8, 1, 0x12, 5, 8))).toThrow(
      "The message of 5 bytes is cut off or damaged: it can be read up to byte 4.",
    );
  });

  test("keeps what is inside a collection inside it", () => {
    // A collection of 3 bytes, in which a field claims 4.
    expect(() => decodePull(Uint8Array.of(8, 1, 0x12, 3, 0x52, 4, 8, 7, 8, 7))).toThrow(BadPull);
  });

  test.each<[keyof Limits, (count: number) => Uint8Array]>([
    ["collections", (count) => emptyFields(0x12, count)],
    ["values", (count) => within(0x12, within(0x12, new Uint8Array(count)))],
    ["values", (count) => within(0x1a, Buffer.concat(Array(count).fill(Uint8Array.of(0x10, 7))))],
    ["records", (count) => within(0x22, emptyFields(0x12, count))],
    ["times", (count) => within(0x12, within(0x1a, new Uint8Array(count)))],
  ])("may hold so many %s, together with the others of its file", (what, fieldsOf) => {
    const limits = { collections: 9, values: 9, records: 9, registers: 9, times: 9, [what]: 5 };
    const holding = (count: number) => Buffer.concat([Uint8Array.of(8, 1), fieldsOf(count)]);
    const decode = (...counts: number[]) => decodePulls(counts.map(holding), new Allowance(limits));
    expect(decode(4, 1)).toHaveLength(2);
    expect(() => decode(5, 1)).toThrow(`It holds more than 5 ${what}.`);
  });
});

/** So many fields of a tag that hold nothing. */
function emptyFields(tag: number, count: number): Uint8Array {
  return new Uint8Array(2 * count).map((_, index) => (index % 2 === 0 ? tag : 0));
}

/** A field of the tag with the bytes in it. */
function within(tag: number, bytes: Uint8Array): Uint8Array {
  return Buffer.concat([new BinaryWriter().uint32(tag).uint32(bytes.length).finish(), bytes]);
}

/** Either it is read, or it is said what is wrong: no other error, and no end that never comes. */
function readOrRefused(bytes: Uint8Array): "read" | "refused" {
  try {
    decodePulls(messagesInFile(bytes));
    return "read";
  } catch (error) {
    expect(error).toBeInstanceOf(BadPull);
    expect((error as Error).message).toMatch(/^(It|There|The|<).*\.$/s);
    return "refused";
  }
}

describe("damage", () => {
  const everything = readSource(`${golden}/everything.raw`);

  test("by cutting off the end is survived at every byte", () => {
    const outcomes = Array.from(everything.keys(), (length) => readOrRefused(everything.subarray(0, length)));
    expect(outcomes.filter((outcome) => outcome === "refused").length).toBeGreaterThan(400);
  });

  test("by random bytes is survived", () => {
    const roll = dice(30);
    const pulls = [
      everything,
      Buffer.from(afternoon()).subarray(0, 4000),
      readSource(`${golden}/everything.page`),
    ];
    for (let round = 0; round < 3000; ++round) {
      const bytes = Uint8Array.from(pulls[round % pulls.length]!);
      for (let count = 0; count <= round % 4; ++count) {
        bytes[Math.floor(roll() * bytes.length)] = roll() * 256;
      }
      readOrRefused(bytes);
    }
  });

  test("by groups within groups is survived", () => {
    expect(readOrRefused(Uint8Array.of(8, 1, ...Array.from({ length: 50_000 }, () => 0x7b)))).toBe("refused");
  });
});

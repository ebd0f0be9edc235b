// A pull of a host that had an eventful afternoon. The objects are those of examples/host; the dice are fixed.
import { BinaryWriter, WireType } from "@bufbuild/protobuf/wire";
import { encodePull, type Part } from "./encode";

const begin = Date.UTC(2026, 10, 20, 12, 0, 0) / 1000;
const windows = 240;
const windowSeconds = 60;

/** Numbers from 0 to 1, the same ones every time. */
export function dice(seed: number): () => number {
  let state = seed;
  return () => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return state / 2 ** 32;
  };
}

/** A curve of the afternoon with a rush in it: 0 is calm, 1 is full. */
function load(place: number, roll: () => number): number {
  const rush = Math.exp(-(((place - 0.62) / 0.09) ** 2));
  return 0.22 + 0.1 * Math.sin(place * 9) + 0.5 * rush + 0.07 * roll();
}

function times(count = windows, step = windowSeconds): number[] {
  return Array.from({ length: count }, (_, index) => begin + (index + 1) * step);
}

/** Smallest, mean and largest of each window, of a measurement between two values. */
function band(
  id: number,
  context: Record<string, number>,
  [low, high]: [number, number],
  seed: number,
): Part[] {
  const roll = dice(seed);
  const middle = times().map((_, index) => low + (high - low) * load(index / windows, roll));
  const spread = (high - low) * 0.09;
  const make = (method: "min" | "max" | "average", move: (value: number) => number, count: number): Part => ({
    kind: "measurement",
    id,
    method,
    scope: "duration",
    size: windowSeconds,
    context,
    times: times().slice(-count),
    values: middle.map((value) => Math.round(move(value))).slice(-count),
  });
  return [
    make("min", (value) => Math.max(low, value - spread * (0.4 + roll())), windows),
    make("max", (value) => value + spread * (0.5 + 2 * roll() ** 4), windows),
    make("average", (value) => value, windows),
  ];
}

function counter(id: number, context: Record<string, number>, most: number, seed: number): Part {
  const roll = dice(seed);
  return {
    kind: "counter",
    id,
    method: "sum",
    scope: "duration",
    size: 300,
    context,
    times: times(48, 300),
    values: times(48, 300).map((_, index) => Math.round(most * load(index / 48, roll))),
  };
}

function list(
  id: number,
  context: Record<string, number>,
  [low, high]: [number, number],
  seed: number,
): Part {
  const roll = dice(seed);
  const count = 600;
  return {
    kind: "measurement",
    id,
    method: "list",
    scope: "count",
    size: count,
    context,
    times: times(count, 24),
    values: times(count, 24).map((_, index) =>
      Math.round(low + (high - low) * (load(index / count, roll) + 0.05 * roll())),
    ),
  };
}

export function linkEvent(name: string, kind: number, reason: string, bitsPerSecond: number): Uint8Array {
  const out = new BinaryWriter().tag(1, WireType.Varint).uint32(2).tag(2, WireType.Varint).int32(kind);
  if (reason) {
    out.tag(6, WireType.LengthDelimited).string(reason);
  }
  out.tag(7, WireType.LengthDelimited).string(name);
  return out.tag(8, WireType.Varint).uint64(bitsPerSecond).finish();
}

function registers(
  block: string,
  cause: number,
  values: Record<string, number>,
  trigger: string,
): Uint8Array {
  const out = new BinaryWriter().tag(1, WireType.LengthDelimited).string(block);
  out.tag(2, WireType.Varint).uint64(0x4000n).tag(3, WireType.Varint).int32(cause);
  Object.entries(values).forEach(([name, value], index) => {
    out.tag(4, WireType.LengthDelimited).fork();
    out
      .tag(1, WireType.Varint)
      .uint32(index * 8)
      .tag(2, WireType.Varint)
      .uint64(value);
    out.tag(3, WireType.LengthDelimited).string(name);
    if (name === trigger) {
      out.tag(4, WireType.Varint).bool(true);
    }
    out.join();
  });
  return out.finish();
}

function events(): Part[] {
  const at = [1_210, 1_222, 5_400, 8_712, 8_790, 9_020, 9_031, 13_800].map((seconds) => begin + seconds);
  const gigabit = 1_000_000_000;
  const links = [
    linkEvent("eth0", 5, "no carrier", 0),
    linkEvent("eth0", 1, "", gigabit),
    linkEvent("wlan0", 3, "", 300_000_000),
    linkEvent("eth0", 3, "renegotiated", gigabit / 10),
    linkEvent("eth0", 5, "no carrier", 0),
    linkEvent("eth1", 0, "", 0),
    linkEvent("eth1", 1, "", 10 * gigabit),
    linkEvent("eth0", 4, "administratively down", 0),
  ];
  const dumps = [1_210, 8_790, 12_000].map((_, index) =>
    registers(
      "eth0",
      index === 2 ? 1 : 2,
      {
        rx_packets: 48_120_334 + index * 91_233,
        rx_errors: 3 + index * 17,
        rx_dropped: index,
        tx_packets: 39_010_222,
        tx_errors: 0,
      },
      index === 2 ? "" : "rx_errors",
    ),
  );
  return [
    { kind: "record", id: 1410, method: "list", scope: "count", size: 100, times: at, values: links },
    {
      kind: "record",
      id: 1411,
      method: "list",
      scope: "count",
      size: 100,
      context: { deviceId: 2 },
      times: [1_210, 8_790, 12_000].map((seconds) => begin + seconds),
      values: dumps,
    },
  ];
}

export function afternoon(): Uint8Array {
  return encodePull(
    [
      ...band(1000, { deviceId: 0 }, [0, 10_000], 1),
      ...band(1000, { deviceId: 1 }, [0, 9_000], 2),
      ...band(1400, { deviceId: 2 }, [0, 92_000_000], 3),
      ...band(1201, {}, [2_100_000, 3_200_000], 4),
      list(1600, { deviceId: 0 }, [38_000, 71_000], 5),
      list(1300, {}, [0, 4_000], 6),
      counter(1402, { deviceId: 2 }, 21_000_000_000, 7),
      counter(1012, {}, 3_400_000, 8),
      counter(1404, { deviceId: 2 }, 40, 9),
      ...events(),
    ],
    {
      hwName: "workbench-4",
      hwProductNumber: "HOST 12",
      hwProductRevision: "R2B",
      hwSerialNumber: "S004711",
      swProductNumber: "HOSTFE",
      swProductRevision: "0.1.0",
    },
  );
}

/** So many values in charts of each shape. */
export function manyValues(count: number): Uint8Array {
  const roll = dice(10);
  const each = Math.floor(count / 5);
  const part = (
    kind: "measurement" | "counter",
    method: NonNullable<Part["method"]>,
    move: number,
  ): Part => ({
    kind,
    id: kind === "counter" ? 1402 : 1000,
    method,
    scope: "count",
    size: 10,
    context: { deviceId: 0 },
    times: Array.from({ length: each }, (_, index) => begin + index),
    values: Array.from({ length: each }, (_, index) =>
      Math.round(5_000 + 3_000 * Math.sin(index / 3_000) + move * (1 + roll())),
    ),
  });
  return encodePull([
    part("measurement", "min", -400),
    part("measurement", "max", 400),
    part("measurement", "average", 0),
    part("measurement", "list", 200),
    part("counter", "sum", 300),
  ]);
}

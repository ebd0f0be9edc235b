// Messages as a collector sends them, for tests. Field numbers are those of the schema.
import { BinaryWriter, WireType } from "@bufbuild/protobuf/wire";
import type { Collection, Kind, Method, Radio } from "../../src/pull/types";

export interface Part {
  kind: Kind;
  id: number;
  method?: Method;
  scope?: "count" | "duration";
  size?: number;
  context?: Record<string, number>;
  times?: Iterable<number | bigint>;
  values: Iterable<number | bigint | Uint8Array>;
}

const contextFields = [
  "macroRfPort",
  "aasRfPortRow",
  "aasRfPortColumn",
  "aasRfPortPolarization",
  "rfBranch",
  "carrierId",
  "dfeId",
  "clientId",
  "deviceId",
];
const radioFields: (keyof Radio)[] = [
  "swProductNumber",
  "swProductRevision",
  "hwProductNumber",
  "hwProductRevision",
  "hwSerialNumber",
  "hwName",
];
const kinds: Record<Kind, { field: number; context: number; methods: Partial<Record<Method, number>> }> = {
  measurement: { field: 2, context: 10, methods: { min: 4, max: 5, average: 6, list: 7 } },
  counter: { field: 3, context: 6, methods: { sum: 4, list: 5 } },
  record: { field: 4, context: 5, methods: { list: 4 } },
};

export function encodePart(part: Part): Uint8Array {
  const { context, methods } = kinds[part.kind];
  const out = new BinaryWriter().tag(1, WireType.Varint).uint32(part.id);
  for (const value of part.values) {
    if (value instanceof Uint8Array) {
      out.tag(2, WireType.LengthDelimited).bytes(value);
    } else {
      out.tag(2, WireType.Varint).int64(BigInt(value));
    }
  }
  for (const time of part.times ?? []) {
    out.tag(3, WireType.Varint).uint64(BigInt(time));
  }
  if (part.method) {
    out.tag(methods[part.method]!, WireType.LengthDelimited).fork();
    out.tag(1, WireType.Varint).int32(part.scope === "duration" ? 2 : 1);
    out
      .tag(2, WireType.Varint)
      .uint32(part.size ?? 0)
      .join();
  }
  if (part.context) {
    out.tag(context, WireType.LengthDelimited).fork();
    for (const [key, number] of Object.entries(part.context)) {
      out.tag(contextFields.indexOf(key) + 1, WireType.Varint).int32(number);
    }
    out.join();
  }
  return out.finish();
}

export function encodePull(parts: Part[], radio: Radio = {}): Uint8Array {
  const out = new BinaryWriter().tag(1, WireType.Varint).uint32(1);
  for (const part of parts) {
    out.tag(kinds[part.kind].field, WireType.LengthDelimited).bytes(encodePart(part));
  }
  out.tag(5, WireType.LengthDelimited).fork();
  for (const [key, text] of Object.entries(radio)) {
    out.tag(radioFields.indexOf(key as keyof Radio) + 1, WireType.LengthDelimited).string(text as string);
  }
  return out.join().finish();
}

export function asText(...messages: Uint8Array[]): string {
  return messages
    .map((bytes) => `<QdxOutput>${Buffer.from(bytes).toString("base64")}</QdxOutput>\n`)
    .join("");
}

export function collection(fields: Partial<Collection> = {}): Collection {
  return {
    kind: "measurement",
    id: 7,
    context: [],
    aggregation: { method: "list", scope: "count", size: 10 },
    times: new BigUint64Array(),
    numbers: new BigInt64Array(),
    records: [],
    ...fields,
  };
}

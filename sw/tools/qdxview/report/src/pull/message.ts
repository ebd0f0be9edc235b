// The message InfoObjectCollections. Field numbers are those of its schema.
import { Allowance } from "./allowance";
import { BadPull } from "./badPull";
import { BinaryReader, WireType, decodeWhole, eachElement, eachField, eachFieldWithin } from "./fields";
import type { Aggregation, Collection, Kind, Method, Pull, Radio, Scope } from "./types";

const knownVersion = 1;

const contextKeys = [
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

interface CollectionFields {
  kind: Kind;
  context: number;
  methods: Record<number, Method>;
}

const collectionFields: Record<number, CollectionFields> = {
  2: { kind: "measurement", context: 10, methods: { 4: "min", 5: "max", 6: "average", 7: "list" } },
  3: { kind: "counter", context: 6, methods: { 4: "sum", 5: "list" } },
  4: { kind: "record", context: 5, methods: { 4: "list" } },
};

const scopes: Record<number, Scope> = { 1: "count", 2: "duration" };

/** The messages of one file, which share what the page can bear. Throws BadPull. */
export function decodePulls(messages: Uint8Array[], allowance = new Allowance()): Pull[] {
  return messages.map((bytes) => decodePull(bytes, allowance));
}

/** Of several messages behind each other the bytes are one with the collections of all. */
function decodePull(bytes: Uint8Array, allowance: Allowance): Pull {
  const pull: Pull = { radio: {}, collections: [] };
  let version: number | undefined;
  decodeWhole(bytes, (reader) =>
    eachField(reader, reader.len, (field, wireType) => {
      const fields = collectionFields[field];
      if (field === 1 && wireType === WireType.Varint) {
        version = reader.uint32();
      } else if (fields && wireType === WireType.LengthDelimited) {
        allowance.take("collections");
        pull.collections.push(decodeCollection(reader, fields, allowance));
      } else if (field === 5 && wireType === WireType.LengthDelimited) {
        decodeRadio(reader, pull.radio);
      } else {
        return false;
      }
      return true;
    }),
  );
  checkVersion(version);
  return pull;
}

function checkVersion(version: number | undefined): void {
  if (version === undefined) {
    throw new BadPull("It is a message without version, so it holds no collections.");
  }
  if (version !== knownVersion) {
    throw new BadPull(`It has version ${version} of the format; this page reads version ${knownVersion}.`);
  }
}

function decodeCollection(reader: BinaryReader, fields: CollectionFields, allowance: Allowance): Collection {
  const times: bigint[] = [];
  const numbers: bigint[] = [];
  const records: Uint8Array[] = [];
  const context = new Map<string, number>();
  let id = 0;
  let aggregation: Aggregation | null = null;
  eachFieldWithin(reader, (field, wireType) => {
    const method = fields.methods[field];
    if (field === 1 && wireType === WireType.Varint) {
      id = reader.uint32();
    } else if (field === 2 && fields.kind !== "record") {
      return eachElement(reader, wireType, () => {
        allowance.take("values");
        numbers.push(BigInt(reader.int64()));
      });
    } else if (field === 3) {
      return eachElement(reader, wireType, () => {
        allowance.take("times");
        times.push(BigInt(reader.uint64()));
      });
    } else if (wireType !== WireType.LengthDelimited) {
      return false;
    } else if (field === 2) {
      allowance.take("records");
      records.push(reader.bytes());
    } else if (method) {
      aggregation = decodeAggregation(reader, method, aggregation);
    } else if (field === fields.context) {
      decodeContext(reader, context);
    } else {
      return false;
    }
    return true;
  });
  return {
    kind: fields.kind,
    id,
    context: contextKeys.filter((key) => context.has(key)).map((key) => [key, context.get(key)!]),
    aggregation,
    times: BigUint64Array.from(times),
    numbers: BigInt64Array.from(numbers),
    records,
  };
}

/** Of two aggregations the later counts; a second part of the same one adds to the first. */
function decodeAggregation(reader: BinaryReader, method: Method, before: Aggregation | null): Aggregation {
  const aggregation: Aggregation =
    before?.method === method ? { ...before } : { method, scope: "count", size: 0 };
  eachFieldWithin(reader, (field, wireType) => {
    if (wireType !== WireType.Varint) {
      return false;
    }
    if (field === 1) {
      aggregation.scope = scopes[reader.int32()] ?? aggregation.scope;
    } else if (field === 2) {
      aggregation.size = reader.uint32();
    } else {
      return false;
    }
    return true;
  });
  return aggregation;
}

function decodeContext(reader: BinaryReader, context: Map<string, number>): void {
  eachFieldWithin(reader, (field, wireType) => {
    const key = contextKeys[field - 1];
    if (!key || wireType !== WireType.Varint) {
      return false;
    }
    context.set(key, reader.int32());
    return true;
  });
}

function decodeRadio(reader: BinaryReader, radio: Radio): void {
  eachFieldWithin(reader, (field, wireType) => {
    const key = radioFields[field - 1];
    if (!key || wireType !== WireType.LengthDelimited) {
      return false;
    }
    radio[key] = reader.string();
    return true;
  });
}

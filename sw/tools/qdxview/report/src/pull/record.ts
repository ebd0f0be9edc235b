// Records: the messages inside them, by tables of their schemas.
import { Allowance } from "./allowance";
import { BadPull } from "./badPull";
import { type BinaryReader, WireType, decodeWhole, eachField, eachFieldWithin } from "./fields";

export type FieldValue = bigint | number | string | boolean | RecordFields[];
/** The fields that are set, by their names. */
export interface RecordFields {
  [name: string]: FieldValue;
}

type FieldType = "uint32" | "sint32" | "uint64" | "string" | "bool" | string[] | Schema;
/** Fields by their numbers: a row of names is an enumeration, a schema a repeated message. */
interface Schema {
  [field: number]: [name: string, type: FieldType];
}

const carrierEvent: Schema = {
  1: ["carrierId", "uint32"],
  2: ["kind", ["SETUP", "ACTIVATED", "DEACTIVATED", "RECONFIGURED", "RELEASED", "FAILED"]],
  3: ["frequencyHz", "uint64"],
  4: ["bandwidthHz", "uint64"],
  5: ["powerMdbm", "sint32"],
  6: ["reason", "string"],
  7: ["carrierName", "string"],
  8: ["bandwidthBps", "uint64"],
};

const registerInfo: Schema = {
  1: ["block", "string"],
  2: ["baseAddress", "uint64"],
  3: ["cause", ["REQUESTED", "PERIODIC", "FAULT", "RESTART"]],
  4: [
    "registers",
    {
      1: ["offset", "uint32"],
      2: ["value", "uint64"],
      3: ["name", "string"],
      4: ["trigger", "bool"],
    },
  ],
};

/** The collector, too, looks only whether the catalogue's type holds one of these names. */
function schemaFor(messageType: string): Schema | undefined {
  if (messageType.includes("CarrierEvent")) {
    return carrierEvent;
  }
  return messageType.includes("RegisterInfo") ? registerInfo : undefined;
}

/** The names of a type's fields, in the order of its schema; empty for a type that nobody knows. */
export function fieldNamesOf(messageType: string): string[] {
  return Object.values(schemaFor(messageType) ?? {}).map(([name]) => name);
}

/** Null for a type that nobody knows, for a record that is none of its type, and for one too many. */
export function decodeRecord(
  record: Uint8Array,
  messageType: string,
  allowance = new Allowance(),
): RecordFields | null {
  const schema = schemaFor(messageType);
  if (!schema) {
    return null;
  }
  const fields: RecordFields = {};
  try {
    decodeWhole(record, (reader) =>
      eachField(reader, reader.len, (field, wireType) =>
        takeField(reader, fields, schema[field], wireType, allowance),
      ),
    );
  } catch (error) {
    if (error instanceof BadPull) {
      return null;
    }
    throw error;
  }
  return fields;
}

function takeField(
  reader: BinaryReader,
  fields: RecordFields,
  entry: [string, FieldType] | undefined,
  wireType: WireType,
  allowance: Allowance,
): boolean {
  if (!entry || wireType !== wireTypeOf(entry[1])) {
    return false;
  }
  const [name, type] = entry;
  if (Array.isArray(type)) {
    const value = type[reader.int32()];
    if (value !== undefined) {
      fields[name] = value;
    }
  } else if (typeof type === "object") {
    const inner: RecordFields = {};
    allowance.take("registers");
    eachFieldWithin(reader, (field, innerType) =>
      takeField(reader, inner, type[field], innerType, allowance),
    );
    ((fields[name] ??= []) as RecordFields[]).push(inner);
  } else {
    fields[name] = readScalar(reader, type);
  }
  return true;
}

function wireTypeOf(type: FieldType): WireType {
  const isNumber = Array.isArray(type) || (typeof type === "string" && type !== "string");
  return isNumber ? WireType.Varint : WireType.LengthDelimited;
}

function readScalar(reader: BinaryReader, type: Exclude<FieldType, string[] | Schema>): FieldValue {
  switch (type) {
    case "uint32":
      return reader.uint32();
    case "sint32":
      return reader.sint32();
    case "uint64":
      return BigInt(reader.uint64());
    case "bool":
      return reader.bool();
    case "string":
      return reader.string();
  }
}

/** The bytes in hexadecimal, cut where it gets long. */
export function bytesText(record: Uint8Array, shown = 16): string {
  const digits = Array.from(record.subarray(0, shown), (byte) => byte.toString(16).padStart(2, "0"));
  return digits.join(" ") + (record.length > shown ? " …" : "");
}

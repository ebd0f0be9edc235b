// Protobuf's wire format, field by field.
import { BinaryReader, WireType } from "@bufbuild/protobuf/wire";
import { BadPull } from "./badPull";

export { BinaryReader, WireType };

/** Takes the value of the field, or leaves it and returns false. */
type Visit = (field: number, wireType: WireType) => boolean;

/**
 * Visits the fields up to the end. Fields that nobody takes are skipped, as protobuf does with those that it doesn't
 * know or that come in another form.
 */
export function eachField(reader: BinaryReader, end: number, visit: Visit): void {
  while (reader.pos < end) {
    const [field, wireType] = reader.tag();
    if (!visit(field, wireType)) {
      reader.skip(wireType, field);
    }
    if (reader.pos > end) {
      throw new RangeError("a field reaches over the end of what holds it");
    }
  }
}

/** The same with the message that the reader stands before. */
export function eachFieldWithin(reader: BinaryReader, visit: Visit): void {
  eachField(reader, endOfContent(reader), visit);
}

function endOfContent(reader: BinaryReader): number {
  const length = reader.uint32();
  const end = reader.pos + length;
  if (end > reader.len) {
    throw new RangeError("a field reaches over the end of the message");
  }
  return end;
}

/** Elements of a repeated number, of which one or a packed row comes at a time. */
export function eachElement(reader: BinaryReader, wireType: WireType, take: () => void): boolean {
  if (wireType === WireType.Varint) {
    take();
    return true;
  }
  if (wireType !== WireType.LengthDelimited) {
    return false;
  }
  const end = endOfContent(reader);
  while (reader.pos < end) {
    take();
  }
  return true;
}

/** Runs a decoder over a message. What it throws becomes a BadPull that tells the place. */
export function decodeWhole(bytes: Uint8Array, decode: (reader: BinaryReader) => void): void {
  const reader = new BinaryReader(bytes);
  try {
    decode(reader);
  } catch (error) {
    if (error instanceof BadPull) {
      throw error;
    }
    const at = Math.min(reader.pos, bytes.length).toLocaleString("en");
    throw new BadPull(
      `The message of ${bytes.length.toLocaleString("en")} bytes is cut off or damaged: it can be read up to byte ${at}.`,
    );
  }
}

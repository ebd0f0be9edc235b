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
      throw new Error("a field reaches over the end of what holds it");
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
    throw new Error("a field reaches over the end of the message");
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

/** A fault of the bytes that the reader reads, as against one of this program or of its memory. */
function isDamage(error: unknown): error is Error {
  return error instanceof Error && (error.constructor === Error || error.message === "premature EOF");
}

/** Runs a decoder over a message. What the reader throws becomes a BadPull that tells the place. */
export function decodeWhole(bytes: Uint8Array, decode: (reader: BinaryReader) => void): void {
  const reader = new BinaryReader(bytes);
  try {
    decode(reader);
  } catch (error) {
    if (!isDamage(error)) {
      throw error;
    }
    const at = Math.min(reader.pos, bytes.length).toLocaleString("en");
    throw new BadPull(
      `The message of ${bytes.length.toLocaleString("en")} bytes is cut off or damaged: it can be read up to byte ${at}.`,
    );
  }
}

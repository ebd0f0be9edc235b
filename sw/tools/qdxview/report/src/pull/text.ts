// The bytes of messages, out of what people have of them: text with base64 in it, or the bytes themselves.
import { BadPull } from "./badPull";

/** More than any collector keeps. */
export const longestInput = 128 * 1024 * 1024;

/** Each is offered in a menu. */
const mostMessages = 20_000;

// Put together at run time: a report holds this program, and must not look like a pull because of it.
const name = ["Qdx", "Output"].join("");
const opening = `<${name}>`;
const closing = `</${name}>`;

// The tag of the version, the first field: a backspace, if it were text.
const firstByteOfMessage = 8;

const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const noDigit = 255;
const digitOf = new Uint8Array(256).fill(noDigit);
for (let digit = 0; digit < alphabet.length; ++digit) {
  digitOf[alphabet.charCodeAt(digit)] = digit;
}

function quoteStart(text: string): string {
  const shown = 40;
  const start = text.slice(0, shown).replace(/[\p{C}\ufffd]/gu, "?");
  return `“${start}${text.length > shown ? "…" : ""}”`;
}

function place(offset: number): string {
  return `character ${(offset + 1).toLocaleString("en")}`;
}

/** The digits' values without white space and padding; anything else outside the alphabet is a fault. */
function digitsOf(text: string, begin: number, end: number): Uint8Array {
  const digits = new Uint8Array(end - begin);
  let count = 0;
  let padding = 0;
  for (let index = begin; index < end; ++index) {
    const code = text.charCodeAt(index);
    const digit = code < digitOf.length ? digitOf[code]! : noDigit;
    if (digit !== noDigit && padding === 0) {
      digits[count++] = digit;
    } else if (code === 0x3d) {
      ++padding;
    } else if (!" \t\r\n".includes(text[index]!)) {
      throw new BadPull(
        `The pull’s base64 is damaged at ${place(index)} of the file: ${quoteStart(text.slice(index, index + 60))}.`,
      );
    }
  }
  if (padding > 2 || (count + padding) % 4 !== 0) {
    throw new BadPull(
      `The pull’s base64, which begins at ${place(begin)}, ends in the middle: ` +
        `it has ${count.toLocaleString("en")} characters and ${padding} of padding.`,
    );
  }
  return digits.subarray(0, count);
}

function decodeBase64(text: string, begin: number, end: number): Uint8Array {
  const digits = digitsOf(text, begin, end);
  const bytes = new Uint8Array(Math.floor((digits.length * 3) / 4));
  let count = 0;
  for (let index = 0; index < digits.length; index += 4) {
    const bits =
      (digits[index]! << 18) |
      ((digits[index + 1] ?? 0) << 12) |
      ((digits[index + 2] ?? 0) << 6) |
      (digits[index + 3] ?? 0);
    // What doesn't fit any more is padding; typed arrays drop it.
    bytes[count++] = bits >> 16;
    bytes[count++] = bits >> 8;
    bytes[count++] = bits;
  }
  return bytes;
}

/** The messages between the markers, in order; what stands around them is ignored. Throws BadPull. */
export function messagesInText(text: string): Uint8Array[] {
  const messages: Uint8Array[] = [];
  let position = 0;
  for (;;) {
    const begin = text.indexOf(opening, position);
    if (begin < 0) {
      break;
    }
    const end = text.indexOf(closing, begin);
    if (end < 0) {
      throw new BadPull(`${opening} at ${place(begin)} has no ${closing}: the end of the pull is missing.`);
    }
    if (messages.length === mostMessages) {
      throw new BadPull(`It holds more than ${mostMessages.toLocaleString("en")} messages.`);
    }
    messages.push(decodeBase64(text, begin + opening.length, end));
    position = end + closing.length;
  }
  if (messages.length === 0) {
    throw new BadPull(
      `There is no ${opening} in it, and it is no raw message. It starts with ${quoteStart(text)}.`,
    );
  }
  return messages;
}

/** The messages of a file's content: text, or the bytes of one message. Throws BadPull. */
export function messagesInFile(content: Uint8Array): Uint8Array[] {
  if (content.length > longestInput) {
    throw new BadPull(`It is longer than ${longestInput.toLocaleString("en")} bytes.`);
  }
  if (content[0] === firstByteOfMessage) {
    return [content];
  }
  // One character for each byte, so that places in the text are places in the file.
  const text = new TextDecoder("latin1").decode(content);
  if (text.trim() === "") {
    throw new BadPull("It is empty. Save the output of a pull into it.");
  }
  return messagesInText(text);
}

import { expect, test } from "vitest";
import { BadPull } from "../../src/pull/badPull";
import { decodeWhole, eachFieldWithin } from "../../src/pull/fields";

test.each([
  ["a number without end", [0x80, 0x80]],
  ["a number that is too long", Array.from({ length: 12 }, () => 0x80)],
  ["a field that reaches over the end", [5, 8]],
])("%s is told as damage with its place", (_, bytes) => {
  const decode = () => decodeWhole(Uint8Array.from(bytes), (reader) => eachFieldWithin(reader, () => false));
  expect(decode).toThrow(BadPull);
  expect(decode).toThrow(/cut off or damaged: it can be read up to byte \d+\./);
});

test.each([
  new TypeError("undefined is not a function"),
  new RangeError("Array buffer allocation failed"),
  new BadPull("It holds more than 3 values."),
])("%s of the decoder itself is no damage of the message", (fault) => {
  let caught: unknown;
  try {
    decodeWhole(Uint8Array.of(8, 1), () => {
      throw fault;
    });
  } catch (error) {
    caught = error;
  }
  expect(caught).toBe(fault);
});

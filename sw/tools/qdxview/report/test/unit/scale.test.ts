import { expect, test } from "vitest";
import { Scale } from "../../src/model/scale";

test.each([
  ["0.01", 4310n, "43.10"],
  ["0.01", -5n, "-0.05"],
  ["0.01", 2n ** 63n - 1n, "92233720368547758.07"],
  ["0.10", 421n, "42.1"],
  ["1", -(2n ** 63n), "-9223372036854775808"],
  ["10", 7n, "70"],
  ["1e-3", 1234n, "1.234"],
  ["2.5E2", 3n, "750"],
  [".5", 3n, "1.5"],
  [" 0.333", 2n, "0.666"],
  ["0.001 dBm", 1n, "0.001"],
  ["1e-12", 1n, "0.000000000001"],
])("of %j makes %d to %s", (resolution, raw, text) => {
  expect(new Scale(resolution).text(raw)).toBe(text);
  expect(new Scale(resolution).number(raw)).toBeCloseTo(Number(text), 9);
});

test.each(["", "nan", "0", "-0.1", "0.000", ".", "e5", "1e999", "dBm"])(
  "of %j leaves values as they are",
  (resolution) => {
    expect(new Scale(resolution).text(42n)).toBe("42");
    expect(new Scale(resolution).number(42n)).toBe(42);
  },
);

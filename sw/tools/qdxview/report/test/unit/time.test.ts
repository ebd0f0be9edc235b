import { expect, test } from "vitest";
import { lengthText, spanText, timeText } from "../../src/model/time";

test("times are told to the second, in the zone", () => {
  expect(timeText(1_714_557_600n, "utc")).toBe("2024-05-01 10:00:00");
  expect(timeText(0n, "utc")).toBe("1970-01-01 00:00:00");
  expect(timeText(253_402_300_799n, "utc")).toBe("9999-12-31 23:59:59");
  expect(timeText(1_714_557_600n, "local")).toBe("2024-05-01 15:45:00");
});

test("times beyond all calendars are told as they are", () => {
  expect(timeText(253_402_300_800n, "utc")).toBe("253402300800");
  expect(timeText(2n ** 64n - 1n, "local")).toBe("18446744073709551615");
  expect(timeText(undefined, "utc")).toBe("–");
});

test("a span names the second day only if it is another one", () => {
  expect(spanText(1_714_557_600, 1_714_557_610, "utc")).toBe("2024-05-01 10:00:00 – 10:00:10");
  expect(spanText(1_714_557_600, 1_714_644_000, "utc")).toBe("2024-05-01 10:00:00 – 2024-05-02 10:00:00");
});

test.each([
  [0, "0 s"],
  [59.6, "1 min"],
  [5_400, "1 h 30 min"],
  [90_061, "1 d 1 h"],
])("%d seconds are told as %s", (seconds, text) => {
  expect(lengthText(seconds)).toBe(text);
});

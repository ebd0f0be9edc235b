import { expect, test } from "vitest";
import { readCatalogue } from "../../src/model/catalogue";
import { Scale } from "../../src/model/scale";
import { timeText } from "../../src/model/time";
import { Allowance } from "../../src/pull/allowance";
import { decodePulls } from "../../src/pull/message";
import { bytesText, decodeRecord, fieldNamesOf } from "../../src/pull/record";
import { readCsv } from "../support/csv";
import { readSource } from "../support/program";
import { linkEvent } from "../support/sample";

const golden = "sw/tools/pull/test/golden";

/** The page that qdxview's own tests wrote holds the catalogue. */
function catalogueOfEverything() {
  const page = readSource(`${golden}/everything.page`).toString();
  return readCatalogue(/id="catalogue">(.*?)<\/script>/s.exec(page)![1]!);
}

test("every value, time and record of the pull with everything reads as in qdxview's CSV", () => {
  const catalogue = catalogueOfEverything();
  const rows = readCsv(readSource(`${golden}/everything.csv`).toString());
  const { collections } = decodePulls([readSource(`${golden}/everything.raw`)])[0]!;
  let place = 0;
  for (const { id, times, numbers, records } of collections) {
    const object = catalogue.get(id);
    for (let index = 0; index < numbers.length + records.length; ++index) {
      const row = rows[place++]!;
      const time =
        times[index] === undefined ? "" : timeText(times[index], "utc").replace(/(.*) (.*)/, "$1T$2Z");
      expect([time, object?.name ?? "", object?.tags.join(" ") ?? ""]).toEqual([
        row["time"],
        row["name"],
        row["tags"],
      ]);
      if (numbers.length > 0) {
        expect(String(numbers[index])).toBe(row["raw"]);
        expect(object ? Number(new Scale(object.resolution).text(numbers[index]!)) : 0).toBe(
          Number(row["value"]),
        );
      } else {
        const fields = decodeRecord(records[index]!, object?.messageType ?? "");
        const json = JSON.stringify(fields, (_, value: unknown) =>
          typeof value === "bigint" ? String(value) : value,
        );
        expect(fields ? JSON.parse(json) : null).toEqual(row["value"] ? JSON.parse(row["value"]) : null);
      }
    }
  }
  expect(place).toBe(rows.length);
});

test("a record is read by any type whose name holds one that is known", () => {
  const record = linkEvent("eth0", 5, "no carrier", 10);
  const fields = {
    carrierId: 2,
    kind: "FAILED",
    reason: "no carrier",
    carrierName: "eth0",
    bandwidthBps: 10n,
  };
  expect(decodeRecord(record, "Qdx.Records.CarrierEvent")).toEqual(fields);
  expect(decodeRecord(record, "RegisterInfoCarrierEvent")).toEqual(fields);
  expect(decodeRecord(record, "carrierevent")).toBeNull();
  expect(fieldNamesOf("RegisterInfo")).toEqual(["block", "baseAddress", "cause", "registers"]);
});

test("records hold so many registers together, and those behind stay bytes", () => {
  const allowance = new Allowance({ collections: 0, values: 0, records: 0, registers: 5, times: 0 });
  const dump = (registers: number) =>
    decodeRecord(
      new Uint8Array(2 * registers).map((_, at) => (at % 2 === 0 ? 0x22 : 0)),
      "RegisterInfo",
      allowance,
    );
  expect(dump(4)).toEqual({ registers: [{}, {}, {}, {}] });
  expect(dump(1)).toEqual({ registers: [{}] });
  expect(dump(1)).toBeNull();
});

test("a record that is none of its type has no fields", () => {
  expect(decodeRecord(Uint8Array.of(0xff), "CarrierEvent")).toBeNull();
  expect(decodeRecord(Uint8Array.of(0x22, 9, 1), "RegisterInfo")).toBeNull();
});

test("a kind that nobody knows is left out", () => {
  expect(decodeRecord(Uint8Array.of(0x08, 7, 0x10, 99), "CarrierEvent")).toEqual({ carrierId: 7 });
});

test("bytes are shown in hexadecimal, and cut", () => {
  expect(bytesText(Uint8Array.of(0, 255))).toBe("00 ff");
  expect(bytesText(new Uint8Array(3), 2)).toBe("00 00 …");
});

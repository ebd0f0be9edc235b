// Records as a table of their fields, and the whole of the one that is picked beneath it.
import type { Panel } from "../model/panels";
import { timeText, type Zone } from "../model/time";
import { Allowance } from "../pull/allowance";
import { bytesText, decodeRecord, fieldNamesOf, type FieldValue, type RecordFields } from "../pull/record";
import { element } from "./dom";
import { Table, type Column } from "./table";

const units: [RegExp, string][] = [
  [/Hz$/, " (Hz)"],
  [/Bps$/, " (bit/s)"],
  [/Mdbm$/, " (mdBm)"],
];

/** "frequencyHz" as "frequency (Hz)" */
function titleOf(field: string): string {
  const [pattern, unit] = units.find(([end]) => end.test(field)) ?? [/$/, ""];
  return field.replace(pattern, "").replace(/[A-Z]/g, (letter) => ` ${letter.toLowerCase()}`) + unit;
}

function hex(number: bigint): string {
  return `0x${number.toString(16)}`;
}

const mostCauses = 5;

/** The first of those that gave the cause by name, and how many there are in all. */
function registersText(registers: RecordFields[]): string {
  const triggers = registers.filter((register) => register["trigger"]);
  const causes = triggers
    .slice(0, mostCauses)
    .map((register) => `${registerName(register)} ${fieldText(register["value"])}`);
  if (triggers.length > mostCauses) {
    causes.push("…");
  }
  const count = `${registers.length} register${registers.length === 1 ? "" : "s"}`;
  return [...causes, count].join(", ");
}

function registerName(register: RecordFields, base = 0n): string {
  return String(register["name"] ?? hex(base + BigInt((register["offset"] as number | undefined) ?? 0)));
}

function fieldText(value: FieldValue | undefined, name = ""): string {
  if (value === undefined) {
    return "";
  }
  if (Array.isArray(value)) {
    return registersText(value);
  }
  return name === "baseAddress" ? hex(value as bigint) : String(value);
}

function keyOf(value: FieldValue | undefined): number | bigint | string | undefined {
  return Array.isArray(value) ? value.length : typeof value === "boolean" ? Number(value) : value;
}

function isNumber(value: FieldValue): boolean {
  return typeof value === "number" || typeof value === "bigint";
}

function columnOf(name: string, records: (RecordFields | null)[]): Column | null {
  const some = records.find((fields) => fields?.[name] !== undefined)?.[name];
  return some === undefined
    ? null
    : {
        title: titleOf(name),
        isNumber: isNumber(some),
        text: (row) => fieldText(records[row]?.[name], name),
        key: (row) => keyOf(records[row]?.[name]),
      };
}

function columnsOf(panel: Panel, records: (RecordFields | null)[], zone: Zone): Column[] {
  const part = panel.parts[0]!;
  const columns: Column[] = [
    { title: "time", text: (row) => timeText(part.times[row], zone), key: (row) => part.times[row] },
  ];
  for (const name of fieldNamesOf(panel.object.messageType)) {
    const column = columnOf(name, records);
    if (column) {
      columns.push(column);
    }
  }
  if (records.some((fields) => fields === null)) {
    columns.push(
      {
        title: "size",
        isNumber: true,
        text: (row) => `${part.records[row]!.length} B`,
        key: (row) => part.records[row]!.length,
      },
      { title: "bytes", text: (row) => (records[row] ? "" : bytesText(part.records[row]!)) },
    );
  }
  return columns;
}

export function recordTable(panel: Panel, zone: Zone): HTMLElement {
  const part = panel.parts[0]!;
  const allowance = new Allowance();
  const records = part.records.map((record) => decodeRecord(record, panel.object.messageType, allowance));
  const detail = element("div", { className: "detail", hidden: true, aria: { live: "polite" } });
  const table = new Table(columnsOf(panel, records, zone), records.length, (row) => {
    detail.hidden = false;
    detail.replaceChildren(detailOf(records[row]!, part.records[row]!, timeText(part.times[row], zone)));
  });
  return element("div", {}, table.element, detail);
}

function detailOf(fields: RecordFields | null, bytes: Uint8Array, time: string): HTMLElement {
  const list = element("dl", {}, element("dt", {}, "time"), element("dd", {}, time));
  for (const [name, value] of Object.entries(fields ?? {})) {
    list.append(element("dt", {}, titleOf(name)));
    list.append(
      element("dd", {}, Array.isArray(value) ? registerList(value, fields!) : fieldText(value, name)),
    );
  }
  if (!fields) {
    list.append(element("dt", {}, `${bytes.length} bytes`), element("dd", {}, bytesText(bytes, 512)));
  }
  return list;
}

function registerList(registers: RecordFields[], fields: RecordFields): HTMLElement {
  const base = (fields["baseAddress"] as bigint | undefined) ?? 0n;
  const value = (row: number) => (registers[row]!["value"] as bigint | undefined) ?? 0n;
  const offset = (row: number) => BigInt((registers[row]!["offset"] as number | undefined) ?? 0);
  return new Table(
    [
      { title: "register", text: (row) => registerName(registers[row]!, base) },
      { title: "address", isNumber: true, text: (row) => hex(base + offset(row)), key: offset },
      { title: "value", isNumber: true, text: (row) => String(value(row)), key: value },
      { title: "hexadecimal", isNumber: true, text: (row) => hex(value(row)), key: value },
      { title: "cause", text: (row) => (registers[row]!["trigger"] ? "●" : "") },
    ],
    registers.length,
  ).element;
}

// Times as people read them.

export type Zone = "utc" | "local";

/** The year has four digits up to here. */
export const lastTime = 253_402_300_799n;

/** "2024-05-01T10:00:00.000Z", whatever the zone. */
function isoText(seconds: number, zone: Zone): string {
  const date = new Date(seconds * 1000);
  const offset = zone === "local" ? date.getTimezoneOffset() * 60_000 : 0;
  return new Date(date.getTime() - offset).toISOString();
}

/** "2024-05-01" */
export function dayText(seconds: number, zone: Zone): string {
  return isoText(seconds, zone).split("T")[0]!;
}

/** "10:00:00", or "10:00" */
export function clockText(seconds: number, zone: Zone, withSeconds = true): string {
  return isoText(seconds, zone)
    .split("T")[1]!
    .slice(0, withSeconds ? 8 : 5);
}

/** "2024-05-01 10:00:00"; the bare number where the year gets too long; a dash without time. */
export function timeText(seconds: bigint | undefined, zone: Zone): string {
  if (seconds === undefined) {
    return "–";
  }
  if (seconds > lastTime) {
    return String(seconds);
  }
  return `${dayText(Number(seconds), zone)} ${clockText(Number(seconds), zone)}`;
}

/** "2024-05-01 10:00:00 – 10:00:10", with the date again where it's another day. */
export function spanText(first: number, last: number, zone: Zone): string {
  const day = dayText(last, zone);
  const end = `${day === dayText(first, zone) ? "" : `${day} `}${clockText(last, zone)}`;
  return `${dayText(first, zone)} ${clockText(first, zone)} – ${end}`;
}

/** "1 h 30 min" */
export function lengthText(seconds: number): string {
  const units: [number, string][] = [
    [86_400, "d"],
    [3_600, "h"],
    [60, "min"],
    [1, "s"],
  ];
  const parts: string[] = [];
  let rest = Math.round(seconds);
  for (const [size, unit] of units) {
    if (rest >= size && parts.length < 2) {
      parts.push(`${Math.floor(rest / size)} ${unit}`);
      rest %= size;
    }
  }
  return parts.join(" ") || "0 s";
}

// The values of a chart as a table: also those that have no time to draw them at.
import { labelOf, type Panel } from "../model/panels";
import type { Plot, Row } from "../model/plot";
import { timeText, type Zone } from "../model/time";
import { Table } from "./table";

/** For each part, the place of the row's value in it; -1 for none. */
function placesOf({ rows }: Plot): Int32Array[] {
  const without = rows.map(untimedPlaces);
  return rows.map(({ indices }, row) =>
    Int32Array.from([
      ...indices,
      ...without.flatMap((places, other) => places.map((at) => (other === row ? at : -1))),
    ]),
  );
}

function untimedPlaces({ part, indices }: Row): number[] {
  const timed = new Set(indices);
  return Array.from(part.numbers.keys()).filter((place) => !timed.has(place));
}

export function valueTable(panel: Panel, plot: Plot, zone: Zone): HTMLElement {
  const places = placesOf(plot);
  const timeAt = (row: number) => {
    const part = places.findIndex((of) => of[row]! >= 0);
    return plot.rows[part]!.part.times[places[part]![row]!];
  };
  const unit = panel.object.unit && ` (${panel.object.unit})`;
  const columns = plot.rows.map(({ part }, index) => {
    const valueAt = (row: number) =>
      places[index]![row]! < 0 ? undefined : part.numbers[places[index]![row]!];
    return {
      title: `${labelOf(part)}${unit}`,
      isNumber: true,
      key: valueAt,
      text: (row: number) => {
        const value = valueAt(row);
        return value === undefined ? "" : panel.scale.text(value);
      },
    };
  });
  const time = { title: "time", text: (row: number) => timeText(timeAt(row), zone), key: timeAt };
  return new Table([time, ...columns], places[0]!.length).element;
}

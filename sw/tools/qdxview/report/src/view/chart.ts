// One panel drawn along time.
import uPlot from "uplot";
import "uplot/dist/uPlot.min.css";
import { methodOf, type Panel } from "../model/panels";
import type { Plot, Range, Row } from "../model/plot";
import { clockText, dayText, type Zone } from "../model/time";
import { bars, points } from "./paths";

export interface ChartEvents {
  /** A stretch of time was chosen; null for all. */
  zoom(range: Range | null): void;
  /** The place that is pointed at; null for none. */
  point(place: number | null): void;
}

export interface ChartSettings {
  range: Range;
  zone: Zone;
}

export const chartHeight = 190;

const minute = 60;
const hour = 60 * minute;
const day = 24 * hour;
const timeSteps = [
  ...[1, 2, 5, 10, 15, 30],
  ...[1, 2, 5, 10, 15, 30].map((count) => count * minute),
  ...[1, 2, 3, 6, 12].map((count) => count * hour),
  ...[1, 2, 3, 7, 14].map((count) => count * day),
  ...[1, 2, 3, 6].map((count) => count * 30 * day),
  ...[1, 2, 5, 10, 25, 50, 100].map((count) => count * 365 * day),
];

/** Colours are those of the style sheet at the time of drawing, so that a change of theme needs no new chart. */
function colour(name: string): () => string {
  return () => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`);
}

function timeLabels(zone: Zone, splits: number[], step: number): string[] {
  let dayBefore = "";
  return splits.map((time) => {
    const date = dayText(time, zone);
    const isNewDay = date !== dayBefore;
    dayBefore = date;
    if (step >= day) {
      return date;
    }
    return clockText(time, zone, step < minute) + (isNewDay ? `\n${date}` : "");
  });
}

const digits = new Intl.NumberFormat("en", { maximumSignificantDigits: 6 });
const powers = ["", "k", "M", "G", "T", "P", "E"];

/** "2.5M" from a hundred thousand on. */
function valueLabel(value: number): string {
  const size = Math.abs(value);
  const power = size < 100_000 ? 0 : Math.min(Math.floor(Math.log10(size) / 3), powers.length - 1);
  return digits.format(value / 1000 ** power) + powers[power]!;
}

function padded(low: number, high: number): [number, number] {
  const margin = high > low ? (high - low) * 0.08 : Math.abs(high) * 0.1 || 1;
  return [low - margin, high + margin];
}

/** From the bottom to the top of a chart whose values in sight go from low to high; both null without any. */
export function heightRange(panel: Panel, low: number | null, high: number | null): [number, number] {
  if (low === null || high === null) {
    return [0, 1];
  }
  if (panel.shape !== "bars") {
    return padded(low, high);
  }
  const [bottom, top] = padded(Math.min(0, low), Math.max(0, high));
  return [low < 0 ? bottom : 0, low < 0 && high <= 0 ? 0 : top];
}

function seriesFor(panel: Panel, { part }: Row): uPlot.Series {
  if (panel.shape === "points") {
    return {
      paths: points,
      fill: colour("points"),
      stroke: colour("points-line"),
      width: 1,
      points: { show: false },
    };
  }
  if (panel.shape === "bars") {
    const { scope, size } = part.aggregation!;
    return {
      paths: bars(scope === "duration" ? size : null),
      fill: colour("bars"),
      stroke: colour("bars"),
      points: { show: false },
    };
  }
  const isAverage = methodOf(part) === "average";
  return {
    stroke: colour(isAverage ? "average" : "edge"),
    width: isAverage ? 1.8 : 1,
    spanGaps: true,
    points: { size: 4, fill: colour(isAverage ? "average" : "edge") },
  };
}

export function bandsFor(rows: Row[]): uPlot.Band[] {
  const most = rows.findIndex(({ part }) => methodOf(part) === "max");
  const least = rows.findIndex(({ part }) => methodOf(part) === "min");
  return most < 0 || least < 0 ? [] : [{ series: [most + 1, least + 1], fill: colour("band") }];
}

/** Lives until destroy(). All charts of a page point at the same time. */
export class Chart {
  private readonly u: uPlot;

  constructor(
    private readonly host: HTMLElement,
    panel: Panel,
    private readonly plot: Plot,
    private settings: ChartSettings,
    private readonly events: ChartEvents,
  ) {
    this.u = new uPlot(this.options(panel), this.data(), host);
  }

  private data(): uPlot.AlignedData {
    return [this.plot.times, ...this.plot.rows.map((row) => row.heights)];
  }

  private options(panel: Panel): uPlot.Options {
    const axis = {
      stroke: colour("muted"),
      grid: { stroke: colour("grid"), width: 1 },
      font: "11px system-ui",
    };
    const ticks = { stroke: colour("grid"), width: 1, size: 5 };
    return {
      width: this.host.clientWidth,
      height: chartHeight,
      padding: [8, 26, 0, 0],
      legend: { show: false },
      tzDate: (time) =>
        this.settings.zone === "utc" ? uPlot.tzDate(new Date(time * 1000), "Etc/UTC") : new Date(time * 1000),
      scales: {
        x: { time: true, range: () => [this.settings.range.first, this.settings.range.last] },
        y: { range: (_, low, high) => heightRange(panel, low, high) },
      },
      axes: [
        {
          ...axis,
          ticks,
          size: 42,
          space: 76,
          incrs: timeSteps,
          values: (_, splits, __, ___, step) => timeLabels(this.settings.zone, splits, step),
        },
        { ...axis, ticks, size: 62, space: 32, values: (_, splits) => splits.map(valueLabel) },
      ],
      series: [{}, ...this.plot.rows.map((row) => seriesFor(panel, row))],
      bands: bandsFor(this.plot.rows),
      cursor: {
        y: false,
        points: { size: 7, stroke: colour("card"), width: 2, fill: colour("ink") },
        drag: { x: true, y: false, setScale: false, dist: 6 },
        sync: {
          key: "time",
          setSeries: false,
          filters: { pub: (type) => type.startsWith("mouse") && type !== "mouseup" && type !== "mousedown" },
        },
        bind: { dblclick: () => () => (this.events.zoom(null), null) },
      },
      hooks: {
        setSelect: [(u) => this.choose(u)],
        setCursor: [(u) => this.events.point(u.cursor.idx ?? null)],
      },
    };
  }

  private choose(u: uPlot): void {
    const { left, width } = u.select;
    if (width > 0) {
      u.setSelect({ left: 0, top: 0, width: 0, height: 0 }, false);
      this.events.zoom({ first: u.posToVal(left, "x"), last: u.posToVal(left + width, "x") });
    }
  }

  /** Of the plot, that is pointed at; null for none. */
  get place(): number | null {
    return this.u.cursor.idx ?? null;
  }

  /** Draws anew: with other settings, in another theme, or in another width. */
  update(settings: ChartSettings): void {
    this.settings = settings;
    if (this.host.clientWidth !== this.u.width) {
      this.u.setSize({ width: this.host.clientWidth, height: chartHeight });
    }
    this.u.batch(() => {
      this.u.setScale("x", { min: settings.range.first, max: settings.range.last });
      this.u.redraw(true, true);
    });
  }

  destroy(): void {
    this.u.destroy();
  }
}

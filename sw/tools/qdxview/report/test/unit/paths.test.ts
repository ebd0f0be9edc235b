import { beforeEach, describe, expect, test, vi } from "vitest";
import type uPlot from "uplot";
import { bars, points } from "../../src/view/paths";

type Place = [x: number, y: number];
type Box = [x: number, y: number, width: number, height: number];

/** What is drawn into it. */
class Recorder {
  readonly discs: Place[] = [];
  readonly line: Place[] = [];
  readonly boxes: Box[] = [];

  moveTo(): void {}
  lineTo(...place: Place): void {
    this.line.push(place);
  }
  arc(x: number, y: number): void {
    this.discs.push([x, y]);
  }
  rect(...box: Box): void {
    this.boxes.push(box);
  }
}

beforeEach(() => {
  vi.stubGlobal("Path2D", Recorder);
  vi.stubGlobal("devicePixelRatio", 1);
});

/** Shows the times from 0 to 100 and the values from -50 to 50 on 1000 x 100 pixels, 20 right of the edge and 10 below. */
function draw(paths: uPlot.Series.PathBuilder, times: number[], values: (number | null)[]) {
  const u = {
    bbox: { left: 20, top: 10, width: 1000, height: 100 },
    scales: { x: { min: 0, max: 100 }, y: { min: -50, max: 50 } },
    series: [{}, { scale: "y" }],
    data: [times, values],
  };
  const { fill, stroke } = paths(u as unknown as uPlot, 1, 0, times.length - 1)!;
  return { fill: fill as unknown as Recorder, stroke: stroke as unknown as Recorder | null };
}

describe("points", () => {
  test("stand further right the later, and higher up the greater", () => {
    const { fill, stroke } = draw(points, [0, 50, 100], [-50, 0, 50]);
    const places = [
      [20, 110],
      [520, 60],
      [1020, 10],
    ];
    expect(fill.discs).toEqual(places);
    expect(stroke!.line).toEqual(places);
  });

  test("are left out where there is no value and out of sight, where the line goes on", () => {
    const { fill, stroke } = draw(points, [-10, 10, 20, 30], [0, null, 60, 0]);
    expect(fill.discs).toEqual([[320, 60]]);
    expect(stroke!.line).toEqual([
      [-80, 60],
      [220, 0],
      [320, 60],
    ]);
  });

  test("that would cover each other are drawn as one, without a line when they are many", () => {
    const times = Array.from({ length: 10_000 }, (_, index) => index / 100);
    const { fill, stroke } = draw(
      points,
      times,
      times.map(() => 0),
    );
    expect(stroke).toBeNull();
    expect(fill.discs.length).toBeGreaterThan(500);
    expect(fill.discs.length).toBeLessThan(1000);
  });
});

describe("bars", () => {
  test("stand on 0 or hang from it", () => {
    const { fill } = draw(bars(2), [10, 20], [40, -30]);
    expect(fill.boxes).toEqual([
      [103, 20, 17, 40],
      [203, 60, 17, 30],
    ]);
  });

  test("without a width begin where the one before ended, and no further than is nice", () => {
    const { fill } = draw(bars(null), [10, 12, 52], [10, 10, 10]);
    expect(fill.boxes.map(([x, , width]) => [x, width])).toEqual([
      [112, 8],
      [123, 17],
      [512, 28],
    ]);
  });

  test("that share a pixel are drawn as the tallest of them", () => {
    const { fill } = draw(bars(1), [10, 10.01, 10.02], [10, 40, -20]);
    expect(fill.boxes).toEqual([[112, 20, 8, 60]]);
  });

  test("of 0 are not drawn", () => {
    expect(draw(bars(1), [10, 20], [0, 10]).fill.boxes).toHaveLength(1);
  });
});

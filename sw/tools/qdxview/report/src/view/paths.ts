// What uPlot has no drawing for: many points, and bars that are as wide as their window.
import type uPlot from "uplot";

/** From values to pixels of the canvas. */
function pixels(u: uPlot, row: number) {
  const { left, top, width, height } = u.bbox;
  const { min: first, max: last } = u.scales["x"]!;
  const { min: low, max: high } = u.scales[u.series[row]!.scale!]!;
  const wide = width / (last! - first!);
  const tall = height / (high! - low!);
  return {
    wide,
    x: (time: number) => left + (time - first!) * wide,
    y: (value: number) => top + (high! - value) * tall,
  };
}

function isSeen(pixel: number, start: number, extent: number): boolean {
  return pixel >= start && pixel <= start + extent;
}

/**
 * Points, one for all that would cover each other, so that a hundred thousand cost no more than fit. While they are
 * few, a thin line shows their order.
 */
export const points: uPlot.Series.PathBuilder = (u, row, from, to) => {
  const { x, y } = pixels(u, row);
  const { left, top, width, height } = u.bbox;
  const values = u.data[row] as ArrayLike<number | null>;
  const areFew = to - from < width / 4;
  const radius = (areFew ? 2.2 : 1.5) * devicePixelRatio;
  const columns = Math.ceil(width / radius) + 1;
  const taken = new Uint8Array(columns * (Math.ceil(height / radius) + 1));
  const fill = new Path2D();
  const line = areFew ? new Path2D() : null;
  for (let index = from; index <= to; ++index) {
    const value = values[index];
    if (value === null || value === undefined) {
      continue;
    }
    const px = x(u.data[0][index]!);
    const py = y(value);
    line?.lineTo(px, py);
    if (!isSeen(px, left, width) || !isSeen(py, top, height)) {
      continue;
    }
    const cell = Math.floor((py - top) / radius) * columns + Math.floor((px - left) / radius);
    if (!taken[cell]) {
      taken[cell] = 1;
      fill.moveTo(px + radius, py);
      fill.arc(px, py, radius, 0, 2 * Math.PI);
    }
  }
  return { fill, stroke: line, flags: 0 } as uPlot.Series.Paths;
};

/**
 * Bars that end at their time and begin as many seconds before; without a width in seconds, where the one before
 * ended. Those that share a pixel are drawn as the tallest of them.
 */
export function bars(seconds: number | null): uPlot.Series.PathBuilder {
  return (u, row, from, to) => {
    const { x, y, wide } = pixels(u, row);
    const values = u.data[row] as ArrayLike<number>;
    const times = u.data[0];
    const fill = new Path2D();
    const zero = y(0);
    const widest = 28 * devicePixelRatio;
    let end = -1;
    let above = zero;
    let below = zero;
    let width = 1;
    const draw = () => {
      if (above !== below) {
        fill.rect(end - width, above, width, below - above);
      }
      above = zero;
      below = zero;
    };
    for (let index = from; index <= to; ++index) {
      const right = Math.round(x(times[index]!));
      const top = y(values[index]!);
      if (right !== end) {
        draw();
        const extent = seconds ?? Math.max(1, times[index]! - (times[index - 1] ?? times[index]! - 1));
        width = Math.max(1, Math.min(widest, Math.floor(extent * wide * 0.85)));
        end = right;
      }
      above = Math.min(above, top);
      below = Math.max(below, top);
    }
    draw();
    return { fill, stroke: null, flags: 0 } as unknown as uPlot.Series.Paths;
  };
}

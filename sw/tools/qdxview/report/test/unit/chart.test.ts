import { expect, test } from "vitest";
import { panelsOf } from "../../src/model/panels";
import { plotOf } from "../../src/model/plot";
import type { Method } from "../../src/pull/types";
import { bandsFor, heightRange } from "../../src/view/chart";
import { collection } from "../support/encode";

function panelOf(...methods: Method[]) {
  const parts = methods.map((method) => collection({ aggregation: { method, scope: "count", size: 10 } }));
  return panelsOf(parts, new Map())[0]!;
}

test.each<[Method[], number[][]]>([
  [["min", "max"], [[2, 1]]],
  [["max", "average", "min"], [[3, 1]]],
  [["max", "average"], []],
  [["min"], []],
  [["list"], []],
])("of %j the bands lie between the rows %j", (methods, bands) => {
  expect(bandsFor(plotOf(panelOf(...methods)).rows).map(({ series }) => series)).toEqual(bands);
});

test.each<[Method, number | null, number | null, [number, number]]>([
  ["list", 100, 200, [92, 208]],
  ["list", -200, -100, [-208, -92]],
  ["min", 50, 50, [45, 55]],
  ["list", 0, 0, [-1, 1]],
  ["list", null, null, [0, 1]],
  ["sum", 100, 200, [0, 216]],
  ["sum", -200, -100, [-216, 0]],
  ["sum", -100, 100, [-116, 116]],
  ["sum", 0, 0, [0, 1]],
])("a chart of %s from %j to %j reaches over %j", (method, low, high, range) => {
  expect(heightRange(panelOf(method), low, high)).toEqual(range);
});

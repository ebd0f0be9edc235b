import { expect, test } from "vitest";
import { readCatalogue } from "../../src/model/catalogue";
import { panelsOf, type Panel } from "../../src/model/panels";
import { plotOf, rangeOf } from "../../src/model/plot";
import { matching, tagsOf } from "../../src/model/search";
import type { Aggregation, Collection, Kind } from "../../src/pull/types";
import { collection } from "../support/encode";

const catalogue = readCatalogue(
  '{"7":{"name":"radio:power","unit":"dBm","resolution":"0.1","tags":["TX","POWER"]},"8":{"name":"net:bytes","tags":["NET","CONTEXTS"]}}',
);

function series(
  id: number,
  aggregation: string,
  context: Record<string, number> = {},
  kind: Kind = "measurement",
): Collection {
  const [method, scope, size] = aggregation.split(" ");
  return collection({
    kind,
    id,
    context: Object.entries(context),
    aggregation: { method, scope, size: Number(size) } as Aggregation,
  });
}

/** "radio:power rfBranch=1: min+max of each 10 samples" */
function told(panel: Panel): string {
  const methods = panel.parts.map((part) => part.aggregation?.method ?? "?").join("+");
  return `${panel.object.name} ${panel.context} ${panel.shape}: ${methods} ${panel.window}`;
}

test("min, average and max of one object, context and window make one band", () => {
  const panels = panelsOf(
    [
      series(7, "max count 10", { rfBranch: 1 }),
      series(7, "min count 10", { rfBranch: 1 }),
      series(7, "average count 10", { rfBranch: 1 }),
      series(7, "max count 20", { rfBranch: 1 }),
      series(7, "max duration 10", { rfBranch: 1 }),
      series(7, "max count 10", { rfBranch: 2 }),
      series(7, "max count 10", { rfBranch: 1 }),
    ],
    catalogue,
  );
  expect(panels.map(told)).toEqual([
    "radio:power rfBranch=1 band: min+average+max each 10 samples",
    "radio:power rfBranch=1 band: max each 20 samples",
    "radio:power rfBranch=1 band: max each 10 seconds",
    "radio:power rfBranch=1 band: max each 10 samples",
    "radio:power rfBranch=2 band: max each 10 samples",
  ]);
});

test("lists, sums and records are on their own, and names are in order", () => {
  const panels = panelsOf(
    [
      series(7, "list count 1", { rfBranch: 10 }),
      series(7, "list count 1", { rfBranch: 9 }),
      series(8, "sum duration 60", {}, "counter"),
      series(9, "list count 100", {}, "record"),
      collection({ aggregation: null }),
    ],
    catalogue,
  );
  expect(panels.map(told)).toEqual([
    "net:bytes  bars: sum each 60 seconds",
    "object 9  records: list last 100 samples",
    "radio:power  points: ? ",
    "radio:power rfBranch=9 points: list last 1 sample",
    "radio:power rfBranch=10 points: list last 1 sample",
  ]);
  expect(panels.map(({ index }) => index)).toEqual([0, 1, 2, 3, 4]);
});

function part(method: string, times: (number | bigint)[], numbers: number[]): Collection {
  return {
    ...series(7, `${method} count 10`),
    times: BigUint64Array.from(times.map(BigInt)),
    numbers: BigInt64Array.from(numbers.map(BigInt)),
  };
}

const plotOfParts = (...parts: Collection[]) => plotOf(panelsOf(parts, catalogue)[0]!);

test("values are scaled and stand at their times", () => {
  const plot = plotOfParts(part("list", [10, 11], [5, -5]));
  expect([...plot.times]).toEqual([10, 11]);
  expect([...plot.rows[0]!.heights]).toEqual([0.5, -0.5]);
});

test("values out of order are put in order, those of one second stay in theirs", () => {
  const plot = plotOfParts(part("list", [12, 10, 11, 10], [1, 2, 3, 4]));
  expect([...plot.times]).toEqual([10, 10, 11, 12]);
  expect([...plot.rows[0]!.indices]).toEqual([1, 3, 2, 0]);
});

test("values without a time to draw them at are counted", () => {
  const plot = plotOfParts(part("list", [10, 2n ** 64n - 1n], [1, 2, 3]));
  expect([...plot.times]).toEqual([10]);
  expect(plot.untimed).toBe(2);
});

test("parts of a band that go back differently far share their newest values", () => {
  const plot = plotOfParts(
    part("min", [11, 11, 12], [2, 3, 4]),
    part("max", [10, 11, 11, 11, 12], [10, 11, 12, 13, 14]),
  );
  expect([...plot.times]).toEqual([10, 11, 11, 11, 12]);
  const [least, most] = plot.rows;
  expect([...least!.indices]).toEqual([-1, -1, 0, 1, 2]);
  expect([...most!.indices]).toEqual([0, 1, 2, 3, 4]);
  expect(least!.heights[0]).toBeNull();
});

test("the range spans all times that can be drawn", () => {
  expect(rangeOf([part("list", [20, 2n ** 64n - 1n], [1]), part("list", [10], [])])).toEqual({
    first: 10,
    last: 20,
  });
  expect(rangeOf([part("list", [], [])])).toBeNull();
});

const searched = panelsOf(
  [
    series(7, "list count 1", { rfBranch: 1 }),
    series(7, "list count 1", { rfBranch: 10 }),
    series(8, "sum count 2", {}, "counter"),
  ],
  catalogue,
);
const found = (text: string) =>
  matching(searched, { text, shapes: new Set(), tags: new Set() }).map(
    ({ object, context }) => `${object.name} ${context}`,
  );

test.each([
  ["", 3],
  ["POWER", 2],
  ["power rfbranch=10", 1],
  ["rfbranch=1", 2],
  ["context:rfbranch=1,", 1],
  ["tag:net", 1],
  ["tag:power name:net", 0],
  ["counter", 1],
  ["dbm", 2],
  ["radio:power", 2],
  [":power", 2],
  ["contexts", 1],
  ["constructor:x", 0],
  ["__proto__:", 0],
])("the search for %j finds %d series", (text, count) => {
  expect(found(text)).toHaveLength(count);
});

test("a search also takes shapes and tags", () => {
  expect(matching(searched, { text: "", shapes: new Set(["bars"]), tags: new Set() })).toHaveLength(1);
  expect(matching(searched, { text: "", shapes: new Set(), tags: new Set(["TX", "NET"]) })).toHaveLength(0);
  expect(tagsOf(searched)).toEqual([
    ["POWER", 2],
    ["TX", 2],
    ["CONTEXTS", 1],
    ["NET", 1],
  ]);
});

// Reports that qdxview wrote, in a browser.
import { writeFileSync } from "node:fs";
import { BinaryWriter, WireType } from "@bufbuild/protobuf/wire";
import { expect, test, type Locator, type Page } from "@playwright/test";
import { asText, encodePull, type Part } from "../support/encode";
import { hostCatalogue, outputFile, qdxview, replay, report } from "../support/program";
import { afternoon, linkEvent, manyValues } from "../support/sample";

let faults: string[] = [];

/** Every error that the page throws or logs, and every address it asks for besides files. */
test.beforeEach(({ page }) => {
  faults = [];
  page.on("pageerror", (error) => faults.push(String(error)));
  page.on("console", (message) => message.type() === "error" && faults.push(message.text()));
  page.on("request", (request) => {
    if (!/^(file|data):/.test(request.url())) {
      faults.push(`asks for ${request.url()}`);
    }
  });
});

test.afterEach(() => expect(faults).toEqual([]));

async function picture(page: Page, name: string): Promise<void> {
  await page.screenshot({ path: outputFile(`pictures/${name}.png`), animations: "disabled" });
}

/** Drags over a part of a chart, from 0 at its left end to 1. */
async function drag(page: Page, chart: Locator, from: number, to: number): Promise<void> {
  const box = (await chart.locator(".u-over").boundingBox())!;
  const y = box.y + box.height / 2;
  await page.mouse.move(box.x + box.width * from, y);
  await page.mouse.down();
  await page.mouse.move(box.x + box.width * to, y, { steps: 4 });
  await page.mouse.up();
}

/** What a reader does who drops a file. */
async function drop(page: Page, name: string, content: Uint8Array | string): Promise<void> {
  const base64 = Buffer.from(content).toString("base64");
  const data = await page.evaluateHandle(
    ([fileName, text]) => {
      const bytes = Uint8Array.from(atob(text!), (character) => character.charCodeAt(0));
      const transfer = new DataTransfer();
      transfer.items.add(new File([bytes], fileName!));
      return transfer;
    },
    [name, base64],
  );
  await page.dispatchEvent("body", "dragover", { dataTransfer: data });
  await expect(page.locator(".drop")).toBeVisible();
  await page.dispatchEvent("body", "drop", { dataTransfer: data });
  await expect(page.locator(".drop")).toBeHidden();
}

/** A message of 5 MB in which each byte is a time. */
function tooManyTimes(): Uint8Array {
  const times = new Uint8Array(5_000_001);
  const list = new BinaryWriter().tag(3, WireType.LengthDelimited).bytes(times).finish();
  return new BinaryWriter()
    .tag(1, WireType.Varint)
    .uint32(1)
    .tag(2, WireType.LengthDelimited)
    .bytes(list)
    .finish();
}

/**
 * What is drawn in a colour of the style sheet within a stretch of the chart's width, which goes from 0 to 1: how far
 * down and up it reaches, from 0 at the bottom of the chart to 1, and how much of what lies between is filled.
 */
async function drawn(chart: Locator, colour: string, [from, to]: [number, number]) {
  return chart.evaluate(
    (host, { name, left, right }) => {
      const canvas = host.querySelector("canvas")!;
      const outer = canvas.getBoundingClientRect();
      const inner = host.querySelector(".u-over")!.getBoundingClientRect();
      const ratio = canvas.width / outer.width;
      const x = (inner.left - outer.left + left * inner.width) * ratio;
      const y = (inner.top - outer.top) * ratio;
      const width = Math.max(1, Math.round((right - left) * inner.width * ratio));
      const height = Math.round(inner.height * ratio);
      const one = document.createElement("canvas").getContext("2d")!;
      one.fillStyle = getComputedStyle(document.documentElement).getPropertyValue(`--${name}`);
      one.fillRect(0, 0, 1, 1);
      const wanted = one.getImageData(0, 0, 1, 1).data;
      const { data } = canvas.getContext("2d")!.getImageData(Math.round(x), Math.round(y), width, height);
      const isWanted = (pixel: number) =>
        wanted.every((value, channel) => Math.abs(data[4 * pixel + channel]! - value) <= 3);
      const rows = [];
      for (let pixel = 0; pixel < width * height; ++pixel) {
        if (isWanted(pixel)) {
          rows.push(Math.floor(pixel / width));
        }
      }
      const [top = NaN, bottom = NaN] = [rows[0], rows.at(-1)];
      return {
        low: 1 - (bottom + 1) / height,
        high: 1 - top / height,
        filled: rows.length / (width * (bottom + 1 - top)),
      };
    },
    { name: colour, left: from, right: to },
  );
}

/** How much ink there is in each of the chart's colours; nothing for one that is not drawn. */
async function inkOf(chart: Locator): Promise<number> {
  return chart.locator("canvas").evaluate((canvas) => {
    const { data } = (canvas as HTMLCanvasElement)
      .getContext("2d")!
      .getImageData(0, 0, (canvas as HTMLCanvasElement).width, (canvas as HTMLCanvasElement).height);
    return data.reduce((sum, value, index) => sum + (index % 4 === 3 && value > 0 ? 1 : 0), 0);
  });
}

test.describe("a report of an afternoon", () => {
  let address: string;

  test.beforeAll(() => {
    address = report("afternoon", asText(afternoon()), ...hostCatalogue);
  });

  test.beforeEach(async ({ page }) => {
    await page.goto(address);
  });

  test("shows windows as bands, lists as points, counters as bars and records as tables", async ({
    page,
  }) => {
    await expect(page).toHaveTitle("workbench-4 – afternoon.pull");
    await expect(page.locator("h1")).toHaveText("workbench-4");
    expect(await page.evaluate(() => document.characterSet)).toBe("UTF-8");
    await expect(page.locator(".identity")).toContainText("serial number S004711");
    await expect(page.locator(".card")).toHaveCount(11);
    for (const [shape, count] of Object.entries({ band: 4, points: 2, bars: 3, records: 2 })) {
      await expect(page.locator(`.card.${shape}`)).toHaveCount(count);
    }
    const load = page.locator(".card", { hasText: "host:cpu:load" }).first();
    await expect(load.locator(".value")).toHaveText([
      /^min \d+\.\d\d$/,
      /^average \d+\.\d\d$/,
      /^max \d+\.\d\d %$/,
    ]);
    await expect(load.locator(".about")).toContainText("min, average, max of each 60 seconds · 240 values");
    expect(await inkOf(load)).toBeGreaterThan(1000);
    await picture(page, "report-light");
  });

  test("finds by name, tag and context", async ({ page }) => {
    const search = page.getByRole("searchbox");
    await page.keyboard.press("/");
    await expect(search).toBeFocused();
    for (const [words, count] of Object.entries({
      "cpu load": 2,
      "tag:net": 5,
      "context:deviceId=1": 1,
      nowhere: 0,
    })) {
      await search.fill(words);
      await expect(page.locator(".card")).toHaveCount(count);
      await expect(page.locator(".entries a")).toHaveCount(count);
    }
    await expect(page.locator("main")).toContainText("Nothing matches the search.");
    await search.fill("");
    await page.getByRole("button", { name: "Lists" }).click();
    await expect(page.locator(".card")).toHaveCount(2);
    await page.getByRole("button", { name: "THERMAL" }).click();
    await expect(page.locator(".card h2")).toHaveText(["host:thermal:temperature"]);
    await expect(page.locator(".count")).toHaveText("1 of 11 series");
  });

  test("goes to the series that is clicked in the list", async ({ page }) => {
    await page.locator(".entries a").last().click();
    await expect(page.locator(".card").last()).toBeInViewport();
    await expect(page.locator(".card").last()).toBeFocused();
    await expect(page.locator(".card").last().locator("canvas")).toBeVisible();
  });

  test("zooms all charts to what is dragged over in one, and back on a double click", async ({ page }) => {
    const span = page.locator(".span");
    await expect(span).toContainText("UTC (3 h 59 min)");
    const charts = page.locator(".chart");
    const before = await Promise.all([inkOf(charts.nth(0)), inkOf(charts.nth(1))]);
    await drag(page, charts.first(), 0.55, 0.75);
    await expect(span).toContainText(/2026-11-20 14:1\d:\d\d – 15:0\d:\d\d UTC \(4\d min/);
    expect(await inkOf(charts.nth(0))).not.toBe(before[0]);
    expect(await inkOf(charts.nth(1))).not.toBe(before[1]);
    await picture(page, "report-zoomed");
    await charts.first().locator(".u-over").dblclick();
    await expect(span).toContainText("UTC (3 h 59 min)");
    await expect.poll(() => inkOf(charts.nth(1))).toBe(before[1]);
  });

  test("zooms and moves by keyboard", async ({ page }) => {
    const span = page.locator(".span");
    await page.keyboard.press("+");
    await expect(span).toContainText("(2 h 2 min)");
    const middle = await span.textContent();
    await page.keyboard.press("ArrowRight");
    await expect(span).not.toHaveText(middle!);
    await expect(span).toContainText("(2 h 2 min)");
    await page.keyboard.press("0");
    await expect(span).toContainText("(3 h 59 min)");
    await expect(page.getByRole("button", { name: "All" })).toBeDisabled();
  });

  test("reads the exact value under the pointer in all charts", async ({ page }) => {
    const readouts = page.locator(".about time");
    const newest = await readouts.first().textContent();
    const box = (await page.locator(".u-over").first().boundingBox())!;
    await page.mouse.move(box.x + box.width / 2, box.y + 20);
    await expect(readouts.first()).not.toHaveText(newest!);
    const time = await readouts.nth(1).textContent();
    expect(time).toMatch(/^2026-11-20 1[34]:\d\d:00$/);
    await expect(readouts.nth(2)).toHaveText(time!);
    await page.mouse.move(2, 2);
    await expect(readouts.first()).toHaveText(newest!);
  });

  test("shows times in UTC or in the reader's zone", async ({ page }) => {
    const newest = page.locator(".about time").first();
    await expect(newest).toHaveText("2026-11-20 16:00:00");
    await page.getByRole("button", { name: "Local" }).click();
    await expect(newest).toHaveText("2026-11-20 17:00:00");
    await expect(page.locator(".span")).toContainText("Europe/Stockholm");
    await expect(page.locator(".records tbody td").first()).toContainText(/ 1[345]:\d\d:\d\d/);
    await page.getByRole("button", { name: "UTC" }).click();
    await expect(newest).toHaveText("2026-11-20 16:00:00");
  });

  test("follows the system into the dark, and the reader back", async ({ page }) => {
    const background = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    const light = await background();
    await page.emulateMedia({ colorScheme: "dark" });
    await expect.poll(background).not.toBe(light);
    await page.locator(".card").last().scrollIntoViewIfNeeded();
    await expect(page.locator(".card").last().locator("canvas")).toBeVisible();
    await picture(page, "report-dark");
    await page.getByRole("button", { name: "Auto" }).click();
    await expect.poll(background).toBe(light);
    await page.emulateMedia({ colorScheme: "light" });
    await page.getByRole("button", { name: "Light" }).click();
    await expect.poll(background).not.toBe(light);
  });

  test("shows records with their fields, sorts them, and shows one whole", async ({ page }) => {
    await page.getByRole("button", { name: "Records" }).click();
    const links = page.locator(".card", { hasText: "host:net:link" });
    await expect(links.getByRole("columnheader")).toHaveText([
      "time",
      "carrier id",
      "kind",
      "reason",
      "carrier name",
      "bandwidth (bit/s)",
    ]);
    await expect(links.locator("tbody tr:not(.spacer)")).toHaveCount(8);
    const speeds = links.locator("tbody tr:not(.spacer) td:last-child");
    await links.getByRole("button", { name: "bandwidth" }).click();
    await expect(speeds.last()).toHaveText("10000000000");
    await links.getByRole("button", { name: "bandwidth" }).click();
    await expect(speeds.first()).toHaveText("10000000000");

    const dumps = page.locator(".card", { hasText: "host:net:counters" });
    await expect(dumps.locator("tbody")).toContainText("rx_errors 20, 5 registers");
    await dumps.locator("tr", { hasText: "rx_errors 20" }).click();
    const detail = dumps.locator(".detail");
    await expect(detail).toContainText("0x4000");
    await expect(detail.locator("tr", { hasText: "rx_errors" }).locator("td")).toHaveText([
      "rx_errors",
      "0x4008",
      "20",
      "0x14",
      "●",
    ]);
    await picture(page, "report-records");
  });

  test("shows a chart's values as a table", async ({ page }) => {
    const load = page.locator(".card", { hasText: "host:cpu:load" }).first();
    await load.getByRole("button", { name: "Values" }).click();
    await expect(load.getByRole("columnheader")).toHaveText(["time", "min (%)", "average (%)", "max (%)"]);
    await load.getByRole("button", { name: "time" }).click();
    await load.getByRole("button", { name: "time" }).click();
    await expect(load.locator("tbody tr:not(.spacer) td").first()).toHaveText("2026-11-20 16:00:00");
    await load.getByRole("button", { name: "Values" }).click();
    await expect(load.locator("canvas")).toBeVisible();
  });

  test("fits a narrow screen", async ({ page }) => {
    await page.setViewportSize({ width: 400, height: 800 });
    await expect
      .poll(() => page.evaluate(() => document.documentElement.scrollWidth))
      .toBeLessThanOrEqual(400);
    await expect(page.locator(".card canvas").first()).toBeVisible();
    await picture(page, "report-narrow");
  });

  test("draws all charts to be printed", async ({ page }) => {
    await expect(page.locator(".card").last().locator("canvas")).toHaveCount(0);
    await page.evaluate(() => dispatchEvent(new Event("beforeprint")));
    await expect(page.locator(".card canvas")).toHaveCount(9);
  });

  test("takes another pull that is dropped on it", async ({ page }) => {
    const other = encodePull(
      [
        {
          kind: "counter",
          id: 1402,
          method: "sum",
          scope: "count",
          size: 2,
          times: [1000],
          values: [2n ** 62n],
        },
      ],
      {
        hwName: "another",
      },
    );
    await drop(page, "other.txt", `$ dch filter pull keep 11\n${asText(other)}`);
    await expect(page.locator("h1")).toHaveText("another");
    await expect(page.locator(".card h2")).toHaveText(["host:net:receivedBytes"]);
    await expect(page.locator(".value b")).toHaveText("4611686018427387904");
    await drop(page, "raw.bin", afternoon());
    await expect(page.locator("h1")).toHaveText("workbench-4");
  });

  test("says what is wrong with a file that is no pull, and keeps what is open", async ({ page }) => {
    const notice = page.getByRole("alert");
    const whole = Buffer.from(afternoon());
    const texts: [string, string | Uint8Array, RegExp][] = [
      ["notes.txt", "Dear diary", /notes\.txt can’t be shown\. There is no <QdxOutput> in it.*“Dear diary”/],
      ["empty.txt", " \n", /It is empty/],
      ["cut.txt", "<QdxOutput>CAES", /<QdxOutput> at character 1 has no <\/QdxOutput>/],
      ["typo.txt", "<QdxOutput>CA*SBg==</QdxOutput>", /damaged at character 14 of the file: “\*SBg/],
      ["short.txt", "<QdxOutput>CAESB</QdxOutput>", /ends in the middle: it has 5 characters/],
      [
        "cut.bin",
        whole.subarray(0, 1000),
        /message of 1,000 bytes is cut off or damaged: it can be read up to byte/,
      ],
      ["new.bin", Uint8Array.of(8, 2), /version 2 of the format; this page reads version 1/],
      ["huge.bin", tooManyTimes(), /holds more than 5,000,000 times/],
    ];
    for (const [name, content, what] of texts) {
      await drop(page, name, content);
      await expect(notice).toContainText(what);
    }
    await expect(page.locator("h1")).toHaveText("workbench-4");
    await expect(page.locator(".card")).toHaveCount(11);
    await notice.getByRole("button").click();
    await expect(notice).toBeHidden();
  });
});

test("tells a file that can't be read from a fault of its own", async ({ page }) => {
  await page.goto(report("none", encodePull([])));
  const notice = page.getByRole("alert");
  await page.evaluate(() => {
    File.prototype.slice = () => {
      throw new DOMException("gone", "NotFoundError");
    };
  });
  await drop(page, "gone.txt", asText(afternoon()));
  await expect(notice).toContainText("gone.txt can’t be shown. It can’t be read.");
  await page.reload();
  await page.evaluate(() => {
    BigUint64Array.from = () => {
      throw new RangeError("Array buffer allocation failed");
    };
  });
  await drop(page, "large.txt", asText(afternoon()));
  await expect.poll(() => faults).toEqual(["RangeError: Array buffer allocation failed"]);
  await expect(notice).toBeHidden();
  faults = [];
});

test("shows what a collector gave", async ({ page }) => {
  const answers = replay("everyAggregator.rec");
  const pulls = answers.match(/<QdxOutput>/g)!.length;
  await page.goto(report("collector", answers));
  await expect(page.locator("select option")).toHaveCount(pulls);
  const json = qdxview(answers, "--format", "json").trim().split("\n");
  for (let index = 0; index < pulls; ++index) {
    await page.locator("select").selectOption({ index });
    const message = JSON.parse(json[index]!) as Record<string, { values?: string[] }[]>;
    const collections = ["measurement", "counter", "record"].flatMap(
      (kind) => message[`${kind}Collections`] ?? [],
    );
    const values = collections.reduce((sum, { values: all = [] }) => sum + all.length, 0);
    await expect(page.locator(".summary")).toHaveText(
      `${collections.length} collections with ${values} values`,
    );
  }
});

test("tells of values that have no time, and has them in the table", async ({ page }) => {
  const pull = encodePull([
    { kind: "counter", id: 7, method: "list", size: 9, times: [1000], values: [5, 6, 7] },
  ]);
  await page.goto(report("untimed", pull));
  await expect(page.locator(".card .nothing")).toHaveText(
    "2 values have no time to draw them at; see Values.",
  );
  await page.getByRole("button", { name: "Values" }).click();
  await expect(page.locator(".card tbody tr:not(.spacer)")).toHaveText(["1970-01-01 00:16:405", "–6", "–7"]);
});

/** Where a value stands in a chart that goes from low to high. */
const heightIn = (low: number, high: number, value: number) => (value - low) / (high - low);

test("draws bands from the smallest to the largest value, points at theirs, and bars on 0", async ({
  page,
}) => {
  const times = Array.from({ length: 11 }, (_, index) => 1_000_000 + index * 100);
  const part = (id: number, method: "min" | "max" | "list", values: number[]): Part => ({
    kind: "measurement",
    ...{ id, method, scope: "count", size: 20, times, values },
  });
  const rising = times.map((_, index) => index * 10);
  await page.goto(
    report(
      "shapes",
      encodePull([
        part(1, "min", rising),
        part(
          1,
          "max",
          rising.map((value) => value + 100),
        ),
        part(2, "list", rising),
        {
          ...{ kind: "counter", id: 3, method: "sum", scope: "duration", size: 100 },
          times: [1_000_000, 1_000_300, 1_000_600, 1_001_000],
          values: [100, 25, 50, 100],
        },
      ]),
    ),
  );
  const chartOf = (shape: string) => page.locator(`.card.${shape} .chart`);

  for (const place of [0.2, 0.5, 0.8]) {
    const value = 100 * place;
    const band = await drawn(chartOf("band"), "band", [place - 0.01, place + 0.01]);
    expect(band.low).toBeCloseTo(heightIn(-16, 216, value), 1);
    expect(band.high).toBeCloseTo(heightIn(-16, 216, value + 100), 1);
    expect(band.filled).toBeGreaterThan(0.7);

    const point = await drawn(chartOf("points"), "points", [place - 0.02, place + 0.02]);
    expect(point.low).toBeCloseTo(heightIn(-8, 108, value), 1);
    expect(point.high).toBeCloseTo(heightIn(-8, 108, value), 1);
  }

  for (const [place, value] of [
    [0.3, 25],
    [0.6, 50],
    [1, 100],
  ] as const) {
    const bar = await drawn(chartOf("bars"), "bars", [place - 0.02, place - 0.01]);
    expect(bar.low).toBeCloseTo(0, 2);
    expect(bar.high).toBeCloseTo(heightIn(0, 108, value), 1);
    expect(bar.filled).toBeGreaterThan(0.9);
  }
});

test("says so when a pull holds nothing", async ({ page }) => {
  await page.goto(report("none", encodePull([])));
  await expect(page.locator("main")).toContainText("This pull holds no collections.");
});

test("shows hostile texts as texts", async ({ page }) => {
  const hostile =
    "</script><script>document.title='taken'</script><img src=x onerror=\"document.title='taken'\">";
  const list = outputFile("hostile.xml");
  const escaped = hostile.replace(/[<"]/g, (character) => `&#${character.charCodeAt(0)};`);
  writeFileSync(
    list,
    `<infoObjectList><tags><tag name="${escaped}"/></tags><objects><object id="7" name="${escaped}" type="record">
      <tags>T</tags><type message="CarrierEvent"/></object></objects></infoObjectList>`,
  );
  const pull = encodePull(
    [
      {
        kind: "record",
        id: 7,
        method: "list",
        scope: "count",
        size: 9,
        times: [5],
        values: [linkEvent(hostile, 5, hostile, 1)],
      },
    ],
    { hwName: hostile },
  );
  await page.goto(report("hostile", pull, "--catalogue", list));
  await expect(page.locator("h1")).toHaveText(hostile);
  await expect(page.locator(".card h2")).toHaveText([hostile]);
  await page.locator(".card tbody tr:not(.spacer)").click();
  await expect(page.locator(".detail dd").nth(3)).toHaveText(hostile);
  await expect(page).toHaveTitle(`${hostile} – hostile.pull`);
  expect(await page.locator("img").count()).toBe(0);
});

test("reads the messages of another report", async ({ page }) => {
  await page.goto(report("none", encodePull([])));
  const other = qdxview(afternoon(), "--html", "-");
  await drop(page, "afternoon.html", other);
  await expect(page.locator("h1")).toHaveText("workbench-4");
});

test("is quick with 100,000 values", async ({ page }) => {
  const address = report("many", manyValues(100_000), ...hostCatalogue);
  let started = Date.now();
  await page.goto(address);
  await expect(page.locator(".summary")).toContainText("100,000 values");
  await expect(page.locator(".card canvas")).toHaveCount(3);
  const open = Date.now() - started;
  started = Date.now();
  await drag(page, page.locator(".chart").first(), 0.4, 0.6);
  await expect(page.locator(".span")).toContainText("(1 h ");
  const zoom = Date.now() - started;
  const drawing = await page.evaluate(() => {
    const begin = performance.now();
    document.querySelector<HTMLButtonElement>(".stretch button[title^='Zoom in']")!.click();
    return performance.now() - begin;
  });
  console.log(
    `100,000 values: opened in ${open} ms, zoomed by the pointer in ${zoom} ms, drawn in ${drawing.toFixed(0)} ms`,
  );
  await picture(page, "report-many");
  expect(open).toBeLessThan(30_000);
  expect(zoom).toBeLessThan(30_000);
  expect(drawing).toBeLessThan(1_000);
});

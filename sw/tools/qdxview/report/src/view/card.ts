// One panel: what it is, what it says at the place that is pointed at, and its picture or its values.
import { labelOf, methodOf, type Panel } from "../model/panels";
import { plotOf, type Plot, type Range } from "../model/plot";
import { timeText } from "../model/time";
import type { Collection } from "../pull/types";
import { Chart, chartHeight, type ChartSettings } from "./chart";
import { button, element, setPressed } from "./dom";
import { recordTable } from "./recordTable";
import { valueTable } from "./valueTable";

/** "min, average, max of each 10 samples · 240 values" */
function describe(panel: Panel): string {
  const methods = panel.parts.map((part) => methodOf(part) ?? "values").join(", ");
  const what = panel.window.replace(/^last/, "the last");
  const unit = panel.shape === "records" ? "record" : "value";
  const count = `${panel.size.toLocaleString("en")} ${unit}${panel.size === 1 ? "" : "s"}`;
  return `${methods}${what && ` of ${what}`} · ${count}`;
}

/** Drawn only between show() and hide(), so that thousands of them cost little. */
export class Card {
  readonly element: HTMLElement;
  private readonly time = element("time");
  private readonly readout = element("div", { className: "readout" });
  private readonly content = element("div", { className: "content" });
  private readonly toggle: HTMLButtonElement;
  private plot: Plot | null = null;
  private chart: Chart | null = null;
  private showsValues = false;
  private isShown = false;

  constructor(
    readonly panel: Panel,
    private settings: ChartSettings,
    private readonly zoom: (range: Range | null) => void,
  ) {
    const { object, context } = panel;
    this.toggle = button("Values", () => this.toggleValues(), {
      className: "quiet",
      title: "Show the values as a table",
    });
    setPressed(this.toggle, false);
    const places = context.split(",").filter((place) => place !== "");
    this.element = element(
      "article",
      {
        className: `card ${panel.shape}`,
        id: `panel-${panel.index}`,
        tabIndex: -1,
        data: { shape: panel.shape },
      },
      element(
        "header",
        {},
        element("h2", {}, object.name),
        ...places.map((place) => element("span", { className: "place" }, place)),
        ...object.tags.map((tag) => element("span", { className: "tag" }, tag)),
        panel.shape !== "records" && panel.size > 0 && this.toggle,
      ),
      element("p", { className: "about" }, element("span", {}, describe(panel)), this.time),
      this.readout,
      this.content,
    );
    this.content.style.minHeight = panel.shape === "records" ? "" : `${chartHeight}px`;
    if (panel.size === 0) {
      this.content.append(element("p", { className: "nothing" }, "No values yet."));
    }
  }

  show(): void {
    if (this.isShown || this.panel.size === 0) {
      return;
    }
    this.isShown = true;
    if (this.panel.shape === "records") {
      this.content.replaceChildren(recordTable(this.panel, this.settings.zone));
      return;
    }
    this.plot ??= plotOf(this.panel);
    this.read(null);
    if (this.showsValues) {
      this.content.replaceChildren(valueTable(this.panel, this.plot, this.settings.zone));
    } else {
      this.draw(this.plot);
    }
  }

  private draw(plot: Plot): void {
    const host = element("div", {
      className: "chart",
      tabIndex: 0,
      aria: { role: "img", label: `${this.panel.object.name} ${this.panel.context} along time` },
    });
    this.content.replaceChildren(host);
    if (plot.untimed > 0) {
      const [values, them] = plot.untimed === 1 ? ["value has", "it"] : ["values have", "them"];
      const note = `${plot.untimed.toLocaleString("en")} ${values} no time to draw ${them} at; see Values.`;
      this.content.append(element("p", { className: "nothing" }, note));
    }
    this.chart = new Chart(host, this.panel, plot, this.settings, {
      zoom: this.zoom,
      point: (place) => this.read(place),
    });
  }

  hide(): void {
    if (this.chart) {
      this.content.style.minHeight = `${this.content.offsetHeight}px`;
      this.chart.destroy();
      this.chart = null;
      this.content.replaceChildren();
      this.isShown = false;
    }
  }

  /** What depends on the zone or the range is made anew if it is to be seen. */
  update(settings: ChartSettings): void {
    const isOtherZone = settings.zone !== this.settings.zone;
    this.settings = settings;
    if (this.chart) {
      this.chart.update(settings);
      this.read(this.chart.place);
    } else if (isOtherZone && this.isShown) {
      this.isShown = false;
      this.show();
    }
  }

  private toggleValues(): void {
    this.showsValues = !this.showsValues;
    setPressed(this.toggle, this.showsValues);
    this.hide();
    this.isShown = false;
    this.show();
  }

  /** Tells the values at a place of the plot, or the newest. */
  private read(place: number | null): void {
    const plot = this.plot!;
    const at = place ?? plot.times.length - 1;
    const time = plot.times[at];
    this.time.textContent = time === undefined ? "" : timeText(BigInt(time), this.settings.zone);
    this.time.className = place === null && time !== undefined ? "newest" : "";
    const values = plot.rows.map(({ part, indices }) => this.value(part, indices[at] ?? -1));
    values.at(-1)!.append(this.panel.object.unit && ` ${this.panel.object.unit}`);
    this.readout.replaceChildren(...values);
  }

  private value(part: Collection, index: number): HTMLElement {
    const { scale } = this.panel;
    return element(
      "span",
      { className: `value ${labelOf(part)}` },
      `${labelOf(part)} `,
      element("b", {}, index < 0 ? "–" : scale.text(part.numbers[index]!)),
    );
  }
}

// The head of the page: whose values these are, which stretch of time is shown, and how.
import type { Range } from "../model/plot";
import { lengthText, spanText, type Zone } from "../model/time";
import type { Radio } from "../pull/types";
import { button, element, setPressed } from "./dom";
import type { Theme } from "./theme";

export interface ToolbarEvents {
  zone(zone: Zone): void;
  theme(): void;
  open(): void;
  pull(index: number): void;
  /** Shows that many times as much around the middle, moved by that part of it. */
  view(times: number, moved: number): void;
  all(): void;
}

function zoneName(zone: Zone): string {
  return zone === "utc" ? "UTC" : Intl.DateTimeFormat().resolvedOptions().timeZone;
}

function identityText(radio: Radio): string {
  const hardware = [radio.hwProductNumber, radio.hwProductRevision].filter(Boolean).join(" ");
  const software = [radio.swProductNumber, radio.swProductRevision].filter(Boolean).join(" ");
  return [
    hardware && `hardware ${hardware}`,
    radio.hwSerialNumber && `serial number ${radio.hwSerialNumber}`,
    software && `software ${software}`,
  ]
    .filter(Boolean)
    .join(" · ");
}

const themeTitles: Record<Theme, string> = { auto: "◐ Auto", light: "○ Light", dark: "● Dark" };

export class Toolbar {
  readonly element: HTMLElement;
  private readonly title = element("h1", {}, "Pull");
  private readonly identity = element("p", { className: "identity" });
  private readonly summary = element("p", { className: "summary" });
  private readonly pulls = element("select", { hidden: true, aria: { label: "Which pull" } });
  private readonly span = element("output", { className: "span", aria: { live: "polite" } });
  private readonly utc: HTMLButtonElement;
  private readonly local: HTMLButtonElement;
  private readonly theme: HTMLButtonElement;
  private readonly all: HTMLButtonElement;
  private readonly stretch: HTMLElement;

  constructor(events: ToolbarEvents) {
    this.utc = button("UTC", () => events.zone("utc"));
    this.local = button("Local", () => events.zone("local"), { title: zoneName("local") });
    this.theme = button(themeTitles.auto, () => events.theme(), { title: "Light or dark" });
    this.all = button("All", () => events.all(), {
      title: "Show all of the time (0, or a double click in a chart)",
    });
    this.pulls.addEventListener("change", () => events.pull(this.pulls.selectedIndex));
    this.stretch = element(
      "div",
      { className: "stretch" },
      this.span,
      element(
        "span",
        { className: "group" },
        button("‹", () => events.view(1, -0.5), { title: "Earlier (←)" }),
        button("−", () => events.view(2, 0), { title: "Zoom out (-)" }),
        button("+", () => events.view(0.5, 0), { title: "Zoom in (+, or drag in a chart)" }),
        button("›", () => events.view(1, 0.5), { title: "Later (→)" }),
        this.all,
      ),
    );
    this.element = element(
      "header",
      { className: "toolbar" },
      element("div", { className: "who" }, this.title, this.identity, this.summary),
      element(
        "div",
        { className: "controls" },
        this.pulls,
        this.stretch,
        element("span", { className: "group" }, this.utc, this.local),
        this.theme,
        button("Open…", () => events.open(), { title: "Open another pull, or drop it on the page" }),
      ),
    );
  }

  describe(radio: Radio, summary: string): void {
    this.title.textContent = radio.hwName || radio.hwSerialNumber || "Pull of an unnamed radio";
    this.identity.textContent = identityText(radio);
    this.summary.textContent = summary;
  }

  offerPulls(count: number, chosen: number): void {
    this.pulls.hidden = count < 2;
    this.pulls.replaceChildren(
      ...Array.from({ length: count }, (_, index) => element("option", {}, `Pull ${index + 1} of ${count}`)),
    );
    this.pulls.selectedIndex = chosen;
  }

  /** Null where nothing has a time. */
  showRange(range: Range | null, zone: Zone, isZoomed: boolean): void {
    this.stretch.hidden = range === null;
    if (range) {
      const { first, last } = range;
      this.span.textContent = `${spanText(first, last, zone)} ${zoneName(zone)} (${lengthText(last - first)})`;
    }
    this.all.disabled = !isZoomed;
    setPressed(this.utc, zone === "utc");
    setPressed(this.local, zone === "local");
  }

  showTheme(theme: Theme): void {
    this.theme.textContent = themeTitles[theme];
  }
}

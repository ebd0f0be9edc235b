// The page: what is open, which of it is shown, and how.
import type { Catalogue } from "../model/catalogue";
import { panelsOf, type Panel } from "../model/panels";
import { rangeOf, type Range } from "../model/plot";
import { matching } from "../model/search";
import type { Zone } from "../model/time";
import { BadPull } from "../pull/badPull";
import { decodePulls } from "../pull/message";
import { messagesInFile } from "../pull/text";
import { sizeOf, type Pull } from "../pull/types";
import { Card } from "./card";
import { button, element } from "./dom";
import { acceptFiles } from "./files";
import { Sidebar } from "./sidebar";
import { applyTheme, nextTheme, onSystemTheme, type Theme } from "./theme";
import { Toolbar } from "./toolbar";

/** Cards that are added at a time, as the reader comes to the end of those that are there. */
const cardsAtATime = 40;

/** No more than this is drawn to be printed. */
const mostPrinted = 200;

/** Times are whole seconds, so nothing is to be seen in less. */
const shortestRange = 2;

const emptyPull: Pull = { radio: {}, collections: [] };

/** With a little room at both ends. */
function roomy({ first, last }: Range): Range {
  const margin = Math.max((last - first) * 0.01, 1);
  return { first: first - margin, last: last + margin };
}

export class Page {
  private readonly toolbar: Toolbar;
  private readonly sidebar: Sidebar;
  private readonly notice = element("div", { className: "notice", hidden: true, aria: { role: "alert" } });
  private readonly main = element("main", {});
  private readonly sentinel = element("div", { className: "sentinel" });
  private readonly inSight: IntersectionObserver;
  private readonly openFile: () => void;

  private name = "";
  private pulls: Pull[] = [];
  private pull = emptyPull;
  private panels: Panel[] = [];
  private found: Panel[] = [];
  private cards = new Map<Element, Card>();
  private filled: Range | null = null;
  private whole: Range = { first: 0, last: 1 };
  private zoomed: Range | null = null;
  private zone: Zone = "utc";
  private theme: Theme = "auto";

  constructor(
    host: HTMLElement,
    private readonly catalogue: Catalogue,
  ) {
    this.openFile = acceptFiles(
      ({ name, content }) => this.openMessages(name, () => messagesInFile(content)),
      (name) => this.complain(name, "It can’t be read."),
    );
    this.toolbar = new Toolbar({
      zone: (zone) => this.setZone(zone),
      theme: () => this.setTheme(nextTheme(this.theme)),
      open: this.openFile,
      pull: (index) => this.choose(index),
      view: (times, moved) => this.view(times, moved),
      all: () => this.zoom(null),
    });
    this.sidebar = new Sidebar(
      () => this.find(),
      (panel) => this.goTo(panel),
    );
    this.inSight = new IntersectionObserver((entries) => this.onSight(entries), { rootMargin: "600px 0px" });
    host.replaceChildren(
      this.toolbar.element,
      this.notice,
      element("div", { className: "body" }, this.sidebar.element, this.main),
    );
    this.listen();
    this.openPulls([]);
  }

  private listen(): void {
    onSystemTheme(() => this.update());
    addEventListener("keydown", (event) => this.onKey(event));
    addEventListener("beforeprint", () => this.drawToPrint());
    new ResizeObserver(() => this.update()).observe(this.main);
    new ResizeObserver(() => this.makeRoomForHead()).observe(this.toolbar.element);
  }

  /** The head stays in sight above what scrolls. */
  private makeRoomForHead(): void {
    document.documentElement.style.setProperty("--head", `${this.toolbar.element.offsetHeight}px`);
  }

  /** Opens what the messages hold, or tells what is wrong and keeps what is open. */
  openMessages(name: string, messages: () => Uint8Array[]): void {
    try {
      const pulls = decodePulls(messages());
      this.notice.hidden = true;
      this.name = name;
      this.openPulls(pulls);
    } catch (error) {
      if (!(error instanceof BadPull)) {
        throw error;
      }
      this.complain(name, error.message);
    }
  }

  private complain(name: string, what: string): void {
    const dismiss = button("×", () => (this.notice.hidden = true), { className: "quiet", title: "Dismiss" });
    this.notice.replaceChildren(
      element("p", {}, element("b", {}, `${name} can’t be shown. `), what),
      dismiss,
    );
    this.notice.hidden = false;
  }

  private openPulls(pulls: Pull[]): void {
    this.pulls = pulls;
    this.choose(pulls.length - 1);
  }

  private choose(index: number): void {
    this.pull = this.pulls[index] ?? emptyPull;
    document.title = [this.pull.radio.hwName, this.name].filter(Boolean).join(" – ") || "Pull";
    this.toolbar.offerPulls(this.pulls.length, index);
    this.panels = panelsOf(this.pull.collections, this.catalogue);
    this.filled = rangeOf(this.pull.collections);
    this.whole = roomy(this.filled ?? { first: 0, last: 0 });
    this.zoomed = null;
    const values = this.pull.collections.reduce((sum, collection) => sum + sizeOf(collection), 0);
    this.toolbar.describe(
      this.pull.radio,
      `${this.pull.collections.length.toLocaleString("en")} collections with ${values.toLocaleString("en")} values`,
    );
    this.sidebar.offer(this.panels);
    this.find();
    if (this.pulls.length === 0) {
      this.main.replaceChildren(this.invitation());
    }
  }

  private invitation(): HTMLElement {
    return element(
      "div",
      { className: "invitation" },
      element("h2", {}, "Nothing is open"),
      element(
        "p",
        {},
        "Drop the output of a pull on this page: the text that dch filter pull printed, or raw bytes.",
      ),
      button("Open a pull…", this.openFile),
    );
  }

  private find(): void {
    this.found = matching(this.panels, this.sidebar.search);
    this.sidebar.show(this.found, this.panels.length);
    this.inSight.disconnect();
    for (const card of this.cards.values()) {
      card.hide();
    }
    this.cards.clear();
    this.main.replaceChildren(this.sentinel);
    if (this.found.length === 0) {
      const what =
        this.panels.length === 0 ? "This pull holds no collections." : "Nothing matches the search.";
      this.main.prepend(element("p", { className: "nothing" }, what));
    }
    this.addCards(cardsAtATime);
    this.inSight.observe(this.sentinel);
    this.showRange();
  }

  private addCards(count: number): void {
    const made = this.found
      .slice(this.cards.size, this.cards.size + count)
      .map((panel) => new Card(panel, this.settings, (range) => this.zoom(range)));
    for (const card of made) {
      this.cards.set(card.element, card);
      this.sentinel.before(card.element);
      this.inSight.observe(card.element);
    }
  }

  private onSight(entries: IntersectionObserverEntry[]): void {
    for (const { target, isIntersecting } of entries) {
      const card = this.cards.get(target);
      if (!card) {
        if (isIntersecting) {
          this.addMore();
        }
      } else if (isIntersecting) {
        card.show();
      } else {
        card.hide();
      }
    }
  }

  /** The sentinel is observed anew: it may still be in sight. */
  private addMore(): void {
    if (this.cards.size < this.found.length) {
      this.addCards(cardsAtATime);
      this.inSight.unobserve(this.sentinel);
      this.inSight.observe(this.sentinel);
    }
  }

  private goTo(panel: Panel): void {
    const place = this.found.indexOf(panel);
    this.addCards(Math.max(0, place + 1 - this.cards.size));
    const card = this.main.children[place] as HTMLElement;
    card.scrollIntoView({ block: "start" });
    card.focus({ preventScroll: true });
  }

  private get range(): Range {
    return this.zoomed ?? this.whole;
  }

  private get settings() {
    return { range: this.range, zone: this.zone };
  }

  private zoom(range: Range | null): void {
    this.zoomed = range && this.bounded(range);
    this.update();
  }

  private bounded({ first, last }: Range): Range | null {
    const length = Math.max(last - first, shortestRange);
    const wholeLength = this.whole.last - this.whole.first;
    if (length >= wholeLength) {
      return null;
    }
    const middle = (first + last) / 2;
    const start = Math.min(Math.max(middle - length / 2, this.whole.first), this.whole.last - length);
    return { first: start, last: start + length };
  }

  private view(times: number, moved: number): void {
    const { first, last } = this.range;
    const length = last - first;
    const middle = (first + last) / 2 + moved * length;
    this.zoom({ first: middle - (length * times) / 2, last: middle + (length * times) / 2 });
  }

  private setZone(zone: Zone): void {
    this.zone = zone;
    this.update();
  }

  private setTheme(theme: Theme): void {
    this.theme = theme;
    applyTheme(theme);
    this.toolbar.showTheme(theme);
    this.update();
  }

  private showRange(): void {
    this.toolbar.showRange(this.zoomed ?? this.filled, this.zone, this.zoomed !== null);
  }

  private update(): void {
    this.showRange();
    for (const card of this.cards.values()) {
      card.update(this.settings);
    }
  }

  private drawToPrint(): void {
    this.addCards(Math.max(0, mostPrinted - this.cards.size));
    for (const card of this.cards.values()) {
      card.show();
    }
  }

  private onKey(event: KeyboardEvent): void {
    const target = event.target as Element;
    if (event.ctrlKey || event.metaKey || event.altKey || target.closest("input, select, .rows")) {
      return;
    }
    const action = {
      "+": () => this.view(0.5, 0),
      "-": () => this.view(2, 0),
      "0": () => this.zoom(null),
      ArrowLeft: () => this.view(1, -0.25),
      ArrowRight: () => this.view(1, 0.25),
      "/": () => this.sidebar.focus(),
    }[event.key];
    if (action) {
      event.preventDefault();
      action();
    }
  }
}

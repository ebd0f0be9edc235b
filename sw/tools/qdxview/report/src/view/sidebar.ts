// Search, and the list of what was found.
import type { Panel, Shape } from "../model/panels";
import { tagsOf, type Search } from "../model/search";
import { button, element, setPressed } from "./dom";

const shapeTitles: [Shape, string][] = [
  ["band", "Windows"],
  ["points", "Lists"],
  ["bars", "Counters"],
  ["records", "Records"],
];

/** More than one scrolls through; a search brings the others. */
const mostEntries = 400;
const mostTags = 24;

function toggled<Item>(set: Set<Item>, item: Item): void {
  if (!set.delete(item)) {
    set.add(item);
  }
}

export class Sidebar {
  readonly element: HTMLElement;
  readonly search: Search = { text: "", shapes: new Set(), tags: new Set() };
  private readonly input: HTMLInputElement;
  private readonly filters = element("div", { className: "filters" });
  private readonly count = element("p", { className: "count", aria: { live: "polite" } });
  private readonly list = element("ol", { className: "entries" });

  constructor(
    private readonly changed: () => void,
    private readonly open: (panel: Panel) => void,
  ) {
    this.input = element("input", {
      type: "search",
      placeholder: "Search: name, tag, context",
      title: "Words that must all be found; tag:NET, name:load and context:rfBranch=1 say where",
      aria: { label: "Search by name, tag or context" },
    });
    this.input.addEventListener("input", () => {
      this.search.text = this.input.value;
      this.changed();
    });
    this.element = element(
      "nav",
      { className: "sidebar", aria: { label: "Series" } },
      this.input,
      this.filters,
      this.count,
      this.list,
    );
  }

  focus(): void {
    this.input.focus();
    this.input.select();
  }

  /** Of a new pull: the filters that it has something for. */
  offer(panels: Panel[]): void {
    const shapes = shapeTitles.filter(([shape]) => panels.some((panel) => panel.shape === shape));
    this.search.shapes.clear();
    this.search.tags.clear();
    this.filters.replaceChildren(
      ...shapes.map(([shape, title]) => this.filter(title, "chip", () => toggled(this.search.shapes, shape))),
      ...tagsOf(panels)
        .slice(0, mostTags)
        .map(([tag]) => this.filter(tag, "chip tag", () => toggled(this.search.tags, tag))),
    );
  }

  private filter(title: string, className: string, toggle: () => void): HTMLButtonElement {
    const made = button(
      title,
      () => {
        toggle();
        setPressed(made, made.getAttribute("aria-pressed") !== "true");
        this.changed();
      },
      { className },
    );
    setPressed(made, false);
    return made;
  }

  show(found: Panel[], all: number): void {
    this.count.textContent =
      found.length === all
        ? `${all.toLocaleString("en")} series`
        : `${found.length.toLocaleString("en")} of ${all.toLocaleString("en")} series`;
    const entries: HTMLElement[] = [];
    let name: string | null = null;
    for (const panel of found.slice(0, mostEntries)) {
      if (panel.object.name !== name) {
        name = panel.object.name;
        entries.push(element("li", { className: "object" }, name));
      }
      entries.push(this.entry(panel));
    }
    if (found.length > mostEntries) {
      const rest = (found.length - mostEntries).toLocaleString("en");
      entries.push(element("li", { className: "object" }, `… and ${rest} more: search to narrow them down`));
    }
    this.list.replaceChildren(...entries);
  }

  private entry(panel: Panel): HTMLElement {
    const link = element(
      "a",
      { href: `#panel-${panel.index}`, className: panel.shape },
      element("span", {}, panel.context.replaceAll(",", ", ") || "no context"),
      element("small", {}, panel.window),
    );
    link.addEventListener("click", (event) => {
      event.preventDefault();
      this.open(panel);
    });
    return element("li", {}, link);
  }
}

// A table of any length, of which only the rows in sight exist.
import { button, element } from "./dom";

export interface Column {
  title: string;
  /** Aligned to the right, and sorted by key. */
  isNumber?: boolean;
  text(row: number): string;
  /** To sort by; the text if absent. Undefined sorts last. */
  key?(row: number): number | bigint | string | undefined;
}

const rowHeight = 28;
const rowsBeyond = 8;

type Direction = 1 | -1;

export class Table {
  readonly element: HTMLElement;
  private readonly body = element("tbody");
  private readonly heads: HTMLTableCellElement[];
  private order: Int32Array;
  private sorted: { column: number; direction: Direction } | null = null;
  private picked = -1;

  /** REQUIRES: the columns' functions take rows from 0 to count - 1. */
  constructor(
    private readonly columns: Column[],
    count: number,
    private readonly pick?: (row: number) => void,
  ) {
    this.order = Int32Array.from({ length: count }, (_, row) => row);
    this.heads = columns.map((column, index) =>
      element(
        "th",
        { className: column.isNumber ? "number" : "", scope: "col" },
        button(column.title, () => this.sort(index), { title: `Sort by ${column.title}` }),
      ),
    );
    const table = element("table", {}, element("thead", {}, element("tr", {}, ...this.heads)), this.body);
    this.element = element(
      "div",
      { className: "rows", tabIndex: 0, aria: { role: "group", label: "Values" } },
      table,
    );
    this.element.addEventListener("scroll", () => this.draw(), { passive: true });
    this.element.style.maxHeight = `${Math.min(count + 1, 10) * rowHeight + 14}px`;
    this.draw();
  }

  private sort(column: number): void {
    const direction: Direction = this.sorted?.column === column && this.sorted.direction === 1 ? -1 : 1;
    const { text, key = text } = this.columns[column]!;
    const keys = Array.from({ length: this.order.length }, (_, row) => key(row));
    this.order = Int32Array.from(keys.keys()).sort((a, b) => compare(keys[a], keys[b], direction) || a - b);
    this.sorted = { column, direction };
    this.heads.forEach((head, index) =>
      head.setAttribute(
        "aria-sort",
        index !== column ? "none" : direction === 1 ? "ascending" : "descending",
      ),
    );
    this.element.scrollTop = 0;
    this.draw();
  }

  private draw(): void {
    const shown = Math.ceil((this.element.clientHeight || 320) / rowHeight) + 2 * rowsBeyond;
    const wanted = Math.floor(this.element.scrollTop / rowHeight) - rowsBeyond;
    const first = Math.max(0, Math.min(this.order.length - shown, wanted));
    const rows = Array.from(this.order.subarray(first, first + shown), (row) => this.row(row));
    const after = this.order.length - first - rows.length;
    this.body.replaceChildren(spacer(first), ...rows, spacer(after));
  }

  private row(row: number): HTMLTableRowElement {
    const cells = this.columns.map((column) =>
      element("td", { className: column.isNumber ? "number" : "" }, column.text(row)),
    );
    const made = element("tr", { className: row === this.picked ? "picked" : "" }, ...cells);
    if (this.pick) {
      made.tabIndex = 0;
      made.addEventListener("click", () => this.choose(row));
      made.addEventListener("keydown", (event) => event.key === "Enter" && this.choose(row));
    }
    return made;
  }

  private choose(row: number): void {
    this.picked = row;
    this.pick!(row);
    this.draw();
  }
}

function spacer(rows: number): HTMLTableRowElement {
  const made = element("tr", { className: "spacer", aria: { hidden: "true" } });
  made.style.height = `${rows * rowHeight}px`;
  return made;
}

type Key = number | bigint | string | undefined;

function compare(a: Key, b: Key, direction: Direction): number {
  if (a === undefined || b === undefined) {
    return Number(a === undefined) - Number(b === undefined);
  }
  if (a === b) {
    return 0;
  }
  return a < b ? -direction : direction;
}

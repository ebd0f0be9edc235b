// Which panels a search wants. Words must all be found; "tag:", "name:" and "context:" say where.
import type { Panel, Shape } from "./panels";

export interface Search {
  text: string;
  /** Any if empty. */
  shapes: Set<Shape>;
  /** All of them. */
  tags: Set<string>;
}

type TextOf = (panel: Panel) => string;

const places = new Map<string, TextOf>([
  ["name", (panel) => panel.object.name],
  ["tag", (panel) => ` ${panel.object.tags.join(" ")} `],
  ["context", (panel) => `,${panel.context},`],
]);

function anywhere(panel: Panel): string {
  const { object } = panel;
  return [object.name, panel.id, panel.kind, panel.context, object.unit, ...object.tags].join(" ");
}

type Test = (panel: Panel) => boolean;

function testFor(word: string): Test {
  const colon = word.indexOf(":");
  const place = colon > 0 ? places.get(word.slice(0, colon)) : undefined;
  const wanted = place ? word.slice(colon + 1) : word;
  const textOf = place ?? anywhere;
  return (panel) => textOf(panel).toLowerCase().includes(wanted);
}

export function matching(panels: Panel[], search: Search): Panel[] {
  const tests: Test[] = search.text
    .toLowerCase()
    .split(/\s+/)
    .filter((word) => word !== "")
    .map(testFor);
  if (search.shapes.size > 0) {
    tests.push((panel) => search.shapes.has(panel.shape));
  }
  for (const tag of search.tags) {
    tests.push((panel) => panel.object.tags.includes(tag));
  }
  return panels.filter((panel) => tests.every((test) => test(panel)));
}

/** The tags of the panels and how many have each, the most frequent first. */
export function tagsOf(panels: Panel[]): [tag: string, count: number][] {
  const counts = new Map<string, number>();
  for (const tag of panels.flatMap((panel) => panel.object.tags)) {
    counts.set(tag, (counts.get(tag) ?? 0) + 1);
  }
  return [...counts].sort((a, b) => b[1] - a[1] || (a[0] < b[0] ? -1 : 1));
}

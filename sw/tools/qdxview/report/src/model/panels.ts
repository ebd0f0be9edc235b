// What the page shows as one: the collections of one object in one context that belong into one picture.
import { sizeOf, type Collection, type Kind, type Method } from "../pull/types";
import type { Catalogue, ObjectInfo } from "./catalogue";
import { Scale } from "./scale";

/** A band from minimum to maximum with the average in it, single samples, sums, or a table of records. */
export type Shape = "band" | "points" | "bars" | "records";

export interface Panel {
  /** Its place in the order of the page. */
  index: number;
  shape: Shape;
  kind: Kind;
  id: number;
  object: ObjectInfo;
  scale: Scale;
  /** "rfBranch=3,carrierId=7"; empty for values without context. */
  context: string;
  /** "each 10 samples", "last 60 seconds"; empty if the pull doesn't tell. */
  window: string;
  /** One of each method at most, in the order in which they are drawn. */
  parts: Collection[];
  /** The largest number of values in a part. */
  size: number;
}

const unknownObject: ObjectInfo = { name: "", unit: "", resolution: "", messageType: "", tags: [] };
const shapes: Record<Method, Shape> = {
  min: "band",
  max: "band",
  average: "band",
  list: "points",
  sum: "bars",
};
const drawingOrder: Method[] = ["min", "average", "max"];

export function contextText(collection: Collection): string {
  return collection.context.map(([key, number]) => `${key}=${number}`).join(",");
}

function shapeOf(collection: Collection): Shape {
  if (collection.kind === "record") {
    return "records";
  }
  return collection.aggregation ? shapes[collection.aggregation.method] : "points";
}

function windowText({ aggregation }: Collection): string {
  if (!aggregation) {
    return "";
  }
  const { method, scope, size } = aggregation;
  const extent = `${size.toLocaleString("en")} ${scope === "count" ? "sample" : "second"}${size === 1 ? "" : "s"}`;
  return method === "list" ? `last ${extent}` : `each ${extent}`;
}

export function methodOf(collection: Collection): Method | undefined {
  return collection.aggregation?.method;
}

/** What one value of it is called. */
export function labelOf(collection: Collection): string {
  const method = methodOf(collection) ?? "value";
  return method === "list" ? "sample" : method;
}

/** Ordered by name, then context. */
export function panelsOf(collections: Collection[], catalogue: Catalogue): Panel[] {
  const panels: Panel[] = [];
  const open = new Map<string, Panel>();
  for (const collection of collections) {
    const key = [
      collection.kind,
      collection.id,
      contextText(collection),
      shapeOf(collection),
      collection.aggregation?.scope,
      collection.aggregation?.size,
    ].join(" ");
    const panel = open.get(key);
    if (panel?.shape === "band" && !panel.parts.some((part) => methodOf(part) === methodOf(collection))) {
      panel.parts.push(collection);
    } else {
      const added = newPanel(collection, catalogue);
      panels.push(added);
      open.set(key, added);
    }
  }
  return inOrder(panels.map(withParts));
}

function newPanel(collection: Collection, catalogue: Catalogue): Panel {
  const object = catalogue.get(collection.id) ?? { ...unknownObject, name: `object ${collection.id}` };
  return {
    index: 0,
    shape: shapeOf(collection),
    kind: collection.kind,
    id: collection.id,
    object,
    scale: new Scale(object.resolution),
    context: contextText(collection),
    window: windowText(collection),
    parts: [collection],
    size: 0,
  };
}

function withParts(panel: Panel): Panel {
  const rank = (part: Collection) => drawingOrder.indexOf(methodOf(part) as Method);
  panel.parts.sort((a, b) => rank(a) - rank(b));
  panel.size = Math.max(...panel.parts.map(sizeOf));
  return panel;
}

function inOrder(panels: Panel[]): Panel[] {
  const { compare } = new Intl.Collator("en", { numeric: true });
  panels.sort((a, b) => compare(a.object.name, b.object.name) || compare(a.context, b.context));
  panels.forEach((panel, index) => (panel.index = index));
  return panels;
}

// What qdxview knows about info objects, from the info object list that it was given.

export interface ObjectInfo {
  name: string;
  unit: string;
  /** What one step of a raw value is worth, as decimal text. */
  resolution: string;
  /** Of records. */
  messageType: string;
  tags: string[];
}

export type Catalogue = Map<number, ObjectInfo>;

export function readCatalogue(json: string): Catalogue {
  const objects = JSON.parse(json) as Record<string, Partial<ObjectInfo>>;
  return new Map(
    Object.entries(objects).map(([id, object]) => [
      Number(id),
      { name: "", unit: "", resolution: "", messageType: "", tags: [], ...object },
    ]),
  );
}

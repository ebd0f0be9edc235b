/** Rows of fields that may stand in quotes. */
export function readCsv(text: string): Record<string, string>[] {
  const rows = [...text.matchAll(/(?:(?:"(?:[^"]|"")*"|[^",\n]*)(?:,|\n))+?(?<=\n)/g)].map(([row]) =>
    [...row.matchAll(/(?:"((?:[^"]|"")*)"|([^",\n]*))(?:,|\n)/g)].map(([, quoted, plain]) =>
      quoted === undefined ? plain! : quoted.replaceAll('""', '"'),
    ),
  );
  const [header, ...lines] = rows;
  return lines.map((fields) => Object.fromEntries(header!.map((name, index) => [name, fields[index]!])));
}

// Files that the reader drops on the page or opens.
import { longestInput } from "../pull/text";
import { element } from "./dom";

export interface GivenFile {
  name: string;
  /** Cut off where it is longer than a pull may be. */
  content: Uint8Array;
}

async function read(
  file: File,
  given: (file: GivenFile) => void,
  failed: (name: string) => void,
): Promise<void> {
  let content: ArrayBuffer;
  try {
    content = await file.slice(0, longestInput + 1).arrayBuffer();
  } catch {
    failed(file.name);
    return;
  }
  given({ name: file.name, content: new Uint8Array(content) });
}

/** Lets files be dropped anywhere; returns what opens the dialog for one. */
export function acceptFiles(given: (file: GivenFile) => void, failed: (name: string) => void): () => void {
  const overlay = element(
    "div",
    { className: "drop", hidden: true },
    element("p", {}, "Drop a pull here to look at it"),
  );
  const input = element("input", { type: "file", hidden: true });
  document.body.append(overlay, input);

  const take = (file: File | null | undefined) => file && void read(file, given, failed);
  input.addEventListener("change", () => {
    take(input.files?.[0]);
    input.value = "";
  });
  addEventListener("dragover", (event) => {
    event.preventDefault();
    overlay.hidden = false;
  });
  addEventListener("dragleave", (event) => (overlay.hidden = event.relatedTarget === null));
  addEventListener("drop", (event) => {
    event.preventDefault();
    overlay.hidden = true;
    take(event.dataTransfer?.files[0]);
  });
  return () => input.click();
}

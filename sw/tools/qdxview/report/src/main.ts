// Shows what qdxview put into the page: the pulls as text, the catalogue and the name of the input as JSON.
import { readCatalogue } from "./model/catalogue";
import { messagesInText } from "./pull/text";
import { Page } from "./view/page";
import "./style.css";

function embedded(id: string): string | null {
  return document.getElementById(id)?.textContent ?? null;
}

const page = new Page(document.getElementById("page")!, readCatalogue(embedded("catalogue") ?? "{}"));
const pulls = embedded("pulls");
if (pulls !== null) {
  page.openMessages(JSON.parse(embedded("source") ?? '"pull"') as string, () => messagesInText(pulls));
}

// Elements in few words. Texts become text nodes, so nothing that a pull holds is ever taken for markup.

type Child = Node | string | null | undefined | false;
type Properties<Name extends keyof HTMLElementTagNameMap> = Partial<
  Omit<HTMLElementTagNameMap[Name], "dataset" | "style">
> & { data?: Record<string, string>; aria?: Record<string, string> };

export function element<Name extends keyof HTMLElementTagNameMap>(
  name: Name,
  properties: Properties<Name> = {},
  ...children: Child[]
): HTMLElementTagNameMap[Name] {
  const { data = {}, aria = {}, ...rest } = properties;
  const made = Object.assign(document.createElement(name), rest);
  Object.assign(made.dataset, data);
  for (const [key, value] of Object.entries(aria)) {
    made.setAttribute(key === "role" ? key : `aria-${key}`, value);
  }
  made.append(...children.filter((child): child is Node | string => Boolean(child)));
  return made;
}

export function button(
  label: string,
  press: () => void,
  properties: Properties<"button"> = {},
): HTMLButtonElement {
  const made = element("button", { type: "button", ...properties }, label);
  made.addEventListener("click", press);
  return made;
}

export function setPressed(pressed: HTMLButtonElement, isPressed: boolean): void {
  pressed.setAttribute("aria-pressed", String(isPressed));
}

// Light or dark: the system's choice, or the reader's for this page.

const themes = ["auto", "light", "dark"] as const;
export type Theme = (typeof themes)[number];

export function nextTheme(theme: Theme): Theme {
  return themes[(themes.indexOf(theme) + 1) % themes.length]!;
}

export function applyTheme(theme: Theme): void {
  if (theme === "auto") {
    delete document.documentElement.dataset["theme"];
  } else {
    document.documentElement.dataset["theme"] = theme;
  }
}

/** Runs when the system's choice changes. */
export function onSystemTheme(changed: () => void): void {
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", changed);
}

import { defineConfig } from "vitest/config";
import { existsSync, readFileSync } from "node:fs";
import path from "node:path";
import type { Plugin } from "vite";

// What the libraries' licences want to be told with them: their licence files, and what their sources begin with.
function noticesOf(modules: string[]): string {
  const notices = new Set<string>();
  for (const module of modules) {
    const library = /^.*node_modules\/(?:@[^/]+\/)?[^/]+/.exec(module)?.[0];
    const licence = library && path.join(library, "LICENSE");
    if (licence && existsSync(licence)) {
      notices.add(readFileSync(licence, "utf8").trim());
    } else if (library) {
      const [head = ""] = /^(?:\/\/.*\n)*/.exec(readFileSync(module, "utf8")) ?? [];
      notices.add(head.replace(/^\/\/ ?/gm, "").trim());
    }
  }
  return [...notices].filter((notice) => notice.includes("Copyright")).join("\n\n");
}

// One file that opens from disk: scripts and styles stand in the page itself. The script comes last, behind what
// qdxview puts in place of the marker.
function intoOnePage(): Plugin {
  return {
    name: "into-one-page",
    enforce: "post",
    generateBundle(_, bundle) {
      const page = bundle["index.html"];
      if (page?.type !== "asset") {
        throw new Error("no index.html in the bundle");
      }
      let html = String(page.source)
        .replace(/\s*<script type="module"[^>]*><\/script>/, "")
        .replace(/\s*<link rel="stylesheet"[^>]*>/, "");
      for (const [name, part] of Object.entries(bundle)) {
        if (part.type === "chunk") {
          const files = Object.keys(part.modules).filter((module) => module.endsWith(".js"));
          html = html.replace(
            "</body>",
            () => `<!--\nParts of this page:\n\n${noticesOf(files)}\n-->\n</body>`,
          );
          html = html.replace("</body>", () => `<script>${part.code}</script>\n</body>`);
          delete bundle[name];
        } else if (name.endsWith(".css")) {
          html = html.replace("</head>", () => `<style>${String(part.source)}</style>\n</head>`);
          delete bundle[name];
        }
      }
      page.source = html;
    },
  };
}

export default defineConfig({
  plugins: [intoOnePage()],
  build: {
    target: "es2020",
    outDir: process.env["REPORT_OUTPUT"] ?? "dist",
    emptyOutDir: true,
    cssCodeSplit: false,
    modulePreload: false,
    assetsInlineLimit: Number.MAX_SAFE_INTEGER,
    rollupOptions: { output: { format: "iife" } },
  },
  // A zone that is no whole number of hours away, so that tests see when it is forgotten.
  test: { include: ["test/unit/**/*.test.ts"], env: { TZ: "Asia/Kathmandu" } },
});

import { defineConfig } from "@playwright/test";

const output = process.env["REPORT_TEST_OUTPUT"] ?? "output";

export default defineConfig({
  testDir: "test/page",
  outputDir: `${output}/failures`,
  workers: 1,
  timeout: 120_000,
  expect: { timeout: 15_000 },
  reporter: "list",
  use: {
    viewport: { width: 1360, height: 900 },
    timezoneId: "Europe/Stockholm",
    launchOptions: {
      executablePath: "/usr/bin/chromium",
      args: [
        "--no-sandbox",
        "--disable-gpu",
        "--disable-quic",
        "--no-first-run",
        "--disable-background-networking",
        "--disable-component-update",
        "--disable-sync",
      ],
    },
  },
});

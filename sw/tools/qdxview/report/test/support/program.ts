// The programs of this system, as tests run them.
import { execFileSync } from "node:child_process";
import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import path from "node:path";

function fromEnvironment(name: string): string {
  const value = process.env[name];
  if (!value) {
    throw new Error(`${name} is not set: run these tests by ctest`);
  }
  return value;
}

/** A file of the source tree. */
export function sourceFile(name: string): string {
  return path.join(fromEnvironment("QDX_SOURCES"), name);
}

export function readSource(name: string): Buffer {
  return readFileSync(sourceFile(name));
}

/** A file for what a test makes, in a folder that is there. */
export function outputFile(name: string): string {
  const file = path.resolve(process.env["REPORT_TEST_OUTPUT"] ?? "output", name);
  mkdirSync(path.dirname(file), { recursive: true });
  return file;
}

export function qdxview(input: Uint8Array | string, ...options: string[]): string {
  const program = fromEnvironment("QDXVIEW");
  return execFileSync(program, options, { input, encoding: "utf8", maxBuffer: 2 ** 28 });
}

/** What a collector answers to what another one was sent. */
export function replay(recording: string): string {
  return execFileSync(fromEnvironment("QDX_REPLAY"), [sourceFile(`test/recordings/${recording}`)], {
    encoding: "utf8",
  });
}

/** Writes a report of the pull and returns its address. */
export function report(name: string, pull: Uint8Array | string, ...options: string[]): string {
  const input = outputFile(`${name}.pull`);
  const page = outputFile(`${name}.html`);
  writeFileSync(input, pull);
  qdxview("", "--html", page, ...options, input);
  return `file://${page}`;
}

export const hostCatalogue = ["--catalogue", sourceFile("examples/host/infoObjectList.xml")];

import { describe, expect, test } from "vitest";
import { longestInput, messagesInFile, messagesInText } from "../../src/pull/text";
import { readSource } from "../support/program";

const bytesOf = (text: string) => new TextEncoder().encode(text);

describe("the text of a pull", () => {
  test("gives what stands between the markers, in order, whatever is around them", () => {
    const messages = messagesInText(
      "$ pull\n<QdxOutput>CAE=</QdxOutput> and\n<QdxOutput>CA\r\n ES\tAA==</QdxOutput>\n",
    );
    expect(messages.map((bytes) => [...bytes])).toEqual([
      [8, 1],
      [8, 1, 18, 0],
    ]);
  });

  test("gives the bytes of the message", () => {
    const golden = "sw/tools/pull/test/golden";
    const raw = readSource(`${golden}/everything.raw`);
    const [message] = messagesInFile(readSource(`${golden}/everything.page`));
    expect(Buffer.from(message!).equals(raw)).toBe(true);
    expect(Buffer.from(messagesInFile(raw)[0]!).equals(raw)).toBe(true);
  });

  test("may hold so many messages as a menu can offer", () => {
    const messages = "<QdxOutput>CAE=</QdxOutput>".repeat(20_000);
    expect(messagesInText(messages)).toHaveLength(20_000);
    expect(() => messagesInText(`${messages}<QdxOutput>CAE=</QdxOutput>`)).toThrow(
      "It holds more than 20,000 messages.",
    );
  });

  test("decodes every length", () => {
    for (let length = 0; length < 40; ++length) {
      const bytes = Buffer.from(Uint8Array.from({ length }, (_, index) => (index * 37 + 11) % 256));
      const [decoded] = messagesInText(`<QdxOutput>${bytes.toString("base64")}</QdxOutput>`);
      expect(Buffer.from(decoded!).equals(bytes)).toBe(true);
    }
  });

  test.each([
    ["", "It is empty. Save the output of a pull into it."],
    ["  \r\n", "It is empty. Save the output of a pull into it."],
    [
      "No entry with this filterID",
      "There is no <QdxOutput> in it, and it is no raw message. It starts with “No entry with this filterID”.",
    ],
    ["\u0000\u0001ELF", "There is no <QdxOutput> in it, and it is no raw message. It starts with “??ELF”."],
    ["ab<QdxOutput>CAE=", "<QdxOutput> at character 3 has no </QdxOutput>: the end of the pull is missing."],
    ["<QdxOutput>CA€=</QdxOutput>", /damaged at character 14 of the file: “/],
    ["<QdxOutput>CA=E</QdxOutput>", /damaged at character 15 of the file: “E/],
    [
      "<QdxOutput>CAE</QdxOutput>",
      /begins at character 12, ends in the middle: it has 3 characters and 0 of padding/,
    ],
    ["<QdxOutput>C===</QdxOutput>", /it has 1 characters and 3 of padding/],
  ])("says what is wrong with %j", (text, what) => {
    expect(() => messagesInFile(bytesOf(text))).toThrow(what);
  });

  test("is refused when it is longer than any collector's", () => {
    expect(() => messagesInFile(new Uint8Array(longestInput + 1))).toThrow(
      "It is longer than 134,217,728 bytes.",
    );
  });

  test("is not found in this program, which a report holds", () => {
    expect(readSource("sw/tools/qdxview/report/src/pull/text.ts").toString()).not.toContain("<QdxOutput>");
  });
});

// Raw values times the resolution of their unit, exactly.

/** A decimal text as digits times a power of ten; what stands behind the number is ignored. */
function parse(text: string): { digits: bigint; exponent: number } | null {
  const parts = /^\s*\+?(\d*)\.?(\d*)(?:e([+-]?\d+))?/i.exec(text);
  const [, whole = "", fraction = "", power = "0"] = parts ?? [];
  if (whole + fraction === "" || whole.length + fraction.length > 60 || Math.abs(Number(power)) > 60) {
    return null;
  }
  let digits = BigInt(whole + fraction);
  let exponent = Number(power) - fraction.length;
  while (digits !== 0n && digits % 10n === 0n) {
    digits /= 10n;
    ++exponent;
  }
  return digits === 0n ? null : { digits, exponent };
}

/** A text that is no positive number scales by 1. */
export class Scale {
  private readonly digits: bigint;
  private readonly exponent: number;
  private readonly factor: number;

  constructor(resolution: string) {
    const parsed = parse(resolution) ?? { digits: 1n, exponent: 0 };
    this.digits = parsed.digits;
    this.exponent = parsed.exponent;
    this.factor = Number(`${parsed.digits}e${parsed.exponent}`);
  }

  /** For drawing. */
  number(raw: bigint): number {
    return Number(raw) * this.factor;
  }

  /** With as many decimals as the resolution has. */
  text(raw: bigint): string {
    const scaled = raw * this.digits;
    if (this.exponent >= 0) {
      return String(scaled * 10n ** BigInt(this.exponent));
    }
    const decimals = -this.exponent;
    const digits = String(scaled < 0n ? -scaled : scaled).padStart(decimals + 1, "0");
    return `${scaled < 0n ? "-" : ""}${digits.slice(0, -decimals)}.${digits.slice(-decimals)}`;
  }
}

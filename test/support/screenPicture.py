"""The screen of a terminal as a picture: SVG."""
import html

CELL_WIDTH, CELL_HEIGHT, MARGIN = 8.4, 18, 14
PAPER, INK = "#16191d", "#d5d9de"
COLOURS = {"red": "#e06c75", "cyan": "#56b6c2"}


def runs_of(row, columns):
    """(first column, text, look) of neighbours that look alike."""
    runs = []
    for column in range(columns):
        cell = row[column]
        look = (cell.fg, cell.bold, cell.reverse)
        if runs and runs[-1][2] == look:
            runs[-1][1] += cell.data
        else:
            runs.append([column, cell.data, look])
    return runs


def draw_run(column, text, look, top):
    colour, bold, reverse = look
    ink, parts = COLOURS.get(colour, INK), []
    left, width = MARGIN + column * CELL_WIDTH, len(text) * CELL_WIDTH
    if reverse:
        parts.append(f'<rect x="{left:.1f}" y="{top}" width="{width:.1f}" height="{CELL_HEIGHT}" fill="{INK}"/>')
        ink = PAPER
    if text.strip():
        weight = ' font-weight="bold"' if bold else ""
        # The length keeps cells below each other in whatever font there is.
        parts.append(f'<text x="{left:.1f}" y="{top + 14}" fill="{ink}"{weight} xml:space="preserve" '
                     f'textLength="{width:.1f}" lengthAdjust="spacingAndGlyphs">{html.escape(text)}</text>')
    return parts


def picture_of(screen, title):
    width, height = 2 * MARGIN + screen.columns * CELL_WIDTH, 2 * MARGIN + screen.lines * CELL_HEIGHT
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height}" width="{width:.0f}" '
             f'height="{height}" font-family="DejaVu Sans Mono, Menlo, Consolas, monospace" font-size="14">',
             f"<title>{html.escape(title)}</title>",
             f'<rect width="100%" height="100%" rx="8" fill="{PAPER}"/>']
    for line in range(screen.lines):
        for column, text, look in runs_of(screen.buffer[line], screen.columns):
            parts += draw_run(column, text, look, MARGIN + line * CELL_HEIGHT)
    return "\n".join([*parts, "</svg>", ""])

"""Charts as SVG text: bars, and lines through points."""

import math

WIDTH, LABEL, BAR, GAP, TOP = 440, 118, 15, 5, 26
OURS, OTHERS = "#1b6ca8", "#b8c4ce"
FONT = 'font-family="sans-serif" font-size="11" fill="#222"'


def text(x, y, words, anchor="start", weight="normal"):
    return f'<text x="{x:.1f}" y="{y:.1f}" {FONT} text-anchor="{anchor}" font-weight="{weight}">{words}</text>'


def bars(title, values, ours):
    """(height, elements) of a chart of horizontal bars; values: {name: number}, with the unit in the title."""
    most = max(values.values())
    room = WIDTH - LABEL - 60
    drawn = [text(0, 14, title, weight="bold")]
    for row, (name, value) in enumerate(values.items()):
        y = TOP + row * (BAR + GAP)
        length = max(1.0, room * value / most)
        color = OURS if name == ours else OTHERS
        drawn.append(text(LABEL - 6, y + 11, name, "end", "bold" if name == ours else "normal"))
        drawn.append(f'<rect x="{LABEL}" y="{y}" width="{length:.1f}" height="{BAR}" fill="{color}"/>')
        drawn.append(text(LABEL + length + 5, y + 11, f"{value:.3g}" if value < 1000 else f"{value:.0f}"))
    return TOP + len(values) * (BAR + GAP) + 14, drawn


def line(title, points, unit):
    """The same for a line through (x, y) from the origin; unit: of x."""
    height, left, most_x, most_y = 130, 44, max(x for x, _ in points), max(y for _, y in points)

    def place(x, y):
        return left + (WIDTH - left - 60) * x / most_x, TOP + height * (1 - y / most_y)

    drawn = [text(0, 14, title, weight="bold")]
    (x0, y0), (x1, y1) = place(0, 0), place(most_x, most_y)
    drawn.append(f'<path d="M{x0} {y1} V{y0} H{x1}" fill="none" stroke="#888"/>')
    placed = [place(x, y) for x, y in points]
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in placed)
    drawn.append(f'<polyline points="{path}" fill="none" stroke="{OURS}" stroke-width="2"/>')
    drawn += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{OURS}"/>' for x, y in placed]
    drawn.append(text(x0 - 4, y1 + 8, f"{most_y:.0f}", "end"))
    drawn.append(text(x0 - 4, y0, "0", "end"))
    drawn.append(text(x1, y0 + 14, f"{most_x} {unit}", "end"))
    return TOP + height + 30, drawn


def page(charts, columns=2):
    """An SVG of charts, each (height, elements), row by row."""
    drawn, y = [], 12
    for first in range(0, len(charts), columns):
        row = charts[first : first + columns]
        for column, (_, elements) in enumerate(row):
            x = 12 + column * (WIDTH + 16)
            drawn.append(f'<g transform="translate({x} {y})">' + "\n".join(elements) + "</g>")
        y += max(height for height, _ in row)
    width = 12 + min(columns, len(charts)) * (WIDTH + 16)
    head = f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{math.ceil(y)}">'
    return "\n".join([head, '<rect width="100%" height="100%" fill="#fff"/>', *drawn, "</svg>", ""])

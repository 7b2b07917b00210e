"""Plots as SVG: both axes logarithmic, readable on light and on dark pages."""
import math
from xml.sax.saxutils import escape

WIDTH, HEIGHT = 720, 380
LEFT, RIGHT, TOP, BOTTOM = 64, 110, 36, 48
COLOURS = ["#2f6fd0", "#c2571a", "#2f9150", "#8a4fc0", "#7f7f7f", "#b03a6a"]
STYLE = """
    text { font: 12px sans-serif; fill: #444; }
    .title { font-size: 14px; font-weight: 600; }
    .grid { stroke: #888; stroke-opacity: 0.25; }
    .line { fill: none; stroke-width: 2; }
    @media (prefers-color-scheme: dark) { text { fill: #bbb; } }
"""


def decades(low, high):
    """1, 2 and 5 in each power of ten between the two."""
    for power in range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1):
        for step in (1, 2, 5):
            if low <= step * 10.0 ** power <= high:
                yield step * 10.0 ** power


def number(value):
    if value >= 1e6:
        return f"{value / 1e6:g} M"
    return f"{value / 1e3:g} k" if value >= 1e4 else f"{value:g}"


def spread(values):
    low, high = min(values), max(values)
    return low / 1.15, high * 1.15


def plot(title, xName, yName, series):
    """series: name -> [(x, y)], all above 0."""
    xLow, xHigh = spread([x for points in series.values() for x, _ in points])
    yLow, yHigh = spread([y for points in series.values() for _, y in points])

    def place(x, y):
        across = (math.log(x) - math.log(xLow)) / (math.log(xHigh) - math.log(xLow))
        up = (math.log(y) - math.log(yLow)) / (math.log(yHigh) - math.log(yLow))
        return (round(LEFT + across * (WIDTH - LEFT - RIGHT), 1), round(HEIGHT - BOTTOM - up * (HEIGHT - TOP - BOTTOM), 1))

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" role="img" '
           f'aria-label="{escape(title)}">', f"  <style>{STYLE}  </style>",
           f'  <text class="title" x="{LEFT}" y="20">{escape(title)}</text>']
    for x in decades(xLow, xHigh):
        across, _ = place(x, yLow)
        out.append(f'  <line class="grid" x1="{across}" y1="{TOP}" x2="{across}" y2="{HEIGHT - BOTTOM}"/>')
        out.append(f'  <text x="{across}" y="{HEIGHT - BOTTOM + 16}" text-anchor="middle">{number(x)}</text>')
    for y in decades(yLow, yHigh):
        _, up = place(xLow, y)
        out.append(f'  <line class="grid" x1="{LEFT}" y1="{up}" x2="{WIDTH - RIGHT}" y2="{up}"/>')
        out.append(f'  <text x="{LEFT - 6}" y="{up + 4}" text-anchor="end">{number(y)}</text>')
    out.append(f'  <text x="{(LEFT + WIDTH - RIGHT) / 2}" y="{HEIGHT - 10}" text-anchor="middle">{escape(xName)}</text>')
    out.append(f'  <text transform="translate(14 {(TOP + HEIGHT - BOTTOM) / 2}) rotate(-90)" '
               f'text-anchor="middle">{escape(yName)}</text>')
    for index, (name, points) in enumerate(series.items()):
        colour = COLOURS[index % len(COLOURS)]
        places = " ".join(f"{x},{y}" for x, y in (place(*point) for point in points))
        out.append(f'  <polyline class="line" stroke="{colour}" points="{places}"/>')
        y = TOP + 14 + 18 * index
        out.append(f'  <line class="line" stroke="{colour}" x1="{WIDTH - RIGHT + 10}" y1="{y - 4}" '
                   f'x2="{WIDTH - RIGHT + 30}" y2="{y - 4}"/>')
        out.append(f'  <text x="{WIDTH - RIGHT + 36}" y="{y}">{escape(name)}</text>')
    return "\n".join(out + ["</svg>", ""])

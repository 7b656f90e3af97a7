#!/usr/bin/env python3
"""Changes the example photographs step by step, compares each step with the photograph and draws the coefficients.

usage: score_ladders.py OUTPUT PHOTOGRAPH... [--ladder NAME]... [--side PIXELS] [--steps N]

Writes OUTPUT/ladder_NAME.svg for each ladder and OUTPUT/ladders.csv with every number. The same photographs give the
same files. Needs the Python package likeness and NumPy.
"""

import argparse
import csv
import pathlib
import tempfile

import likeness
import numpy as np

LUMA = np.array([0.2126, 0.7152, 0.0722])


def linear(encoded):
    return np.where(encoded <= 0.04045, encoded / 12.92, ((encoded + 0.055) / 1.055) ** 2.4)


def encoded(light):
    light = np.clip(light, 0, 1)
    return np.where(light <= 0.0031308, 12.92 * light, 1.055 * light ** (1 / 2.4) - 0.055)


def as_bytes(unit):
    return np.rint(255 * np.clip(unit, 0, 1)).astype(np.uint8)


def in_light(change):
    """A change of linear light, of encoded bytes."""
    return lambda photograph, step: as_bytes(encoded(change(linear(photograph / 255.0), step)))


def jpeg(photograph, quality):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder, "step.jpg")
        likeness.write(path, photograph, quality=int(quality))
        return likeness.read(path, profile="ignore")


def warmed(light, share):
    """Red more and blue less by the same share; the luminance is kept."""
    gains = np.array([1 + share, 1, 1 - share])
    return light * (gains / (gains @ LUMA))


def saturated(light, factor):
    gray = (light @ LUMA)[..., None]
    return gray + factor * (light - gray)


def hue_rotated(light, degrees):
    """Around the grey axis of linear R, G, B (Rodrigues' formula)."""
    angle = np.radians(degrees)
    axis = np.full(3, 1 / np.sqrt(3))
    cross = np.array([[0, -axis[2], axis[1]], [axis[2], 0, -axis[0]], [-axis[1], axis[0], 0]])
    turn = np.eye(3) + np.sin(angle) * cross + (1 - np.cos(angle)) * cross @ cross
    return light @ turn.T


def noisy(photograph, deviation):
    noise = np.random.Generator(np.random.PCG64(1)).standard_normal(photograph.shape)
    return as_bytes((photograph + deviation * noise) / 255)


def blurred(light, sigma):
    """Gaussian, edges repeated."""
    if sigma == 0:
        return light
    reach = int(np.ceil(3 * sigma))
    weights = np.exp(-0.5 * (np.arange(-reach, reach + 1) / sigma) ** 2)
    weights /= weights.sum()
    for axis in (0, 1):
        width = [(reach, reach) if k == axis else (0, 0) for k in range(3)]
        padded = np.pad(light, width, mode="edge")
        length = light.shape[axis]
        light = sum(
            weight * np.take(padded, np.arange(k, k + length), axis=axis) for k, weight in enumerate(weights)
        )
    return light


def reduced(light, factor):
    """Means over squares of pixels."""
    factor = int(factor)
    height, width = (side // factor for side in light.shape[:2])
    squares = light[: height * factor, : width * factor].reshape(height, factor, width, factor, 3)
    return squares.mean(axis=(1, 3))


LADDERS = {
    "jpeg_quality": ("JPEG quality", [100, 95, 90, 80, 70, 50, 30, 15, 5], jpeg),
    "exposure": ("exposure, EV", [-2, -1, -0.5, -0.25, -0.1, 0, 0.1, 0.25, 0.5, 1, 2],
                 in_light(lambda light, stops: light * 2.0**stops)),
    "white_balance": ("red more and blue less, %", [0, 1, 2, 5, 10, 20, 30],
                      in_light(lambda light, percent: warmed(light, percent / 100))),
    "saturation": ("saturation, times", [0, 0.25, 0.5, 0.75, 0.9, 1, 1.1, 1.25, 1.5, 2], in_light(saturated)),
    "hue_rotation": ("hue rotation, degrees", [0, 2, 5, 10, 20, 45, 90, 180], in_light(hue_rotated)),
    "noise": ("noise, standard deviation in levels of 255", [0, 1, 2, 5, 10, 20, 40], noisy),
    "blur": ("blur, sigma in pixels", [0, 0.5, 1, 2, 4, 8], in_light(blurred)),
    "size": ("reduced, times", [1, 2, 3, 4, 6, 8], in_light(reduced)),
}

COLORS = {"brightness": "#c2410c", "lightness": "#7c3aed", "chroma": "#15803d", "colorfulness": "#0369a1",
          "saturation": "#be185d"}
DASHES = {"brightness": "", "lightness": "7 3", "chroma": "2 3", "colorfulness": "9 3 2 3", "saturation": "4 2"}


def rungs(name, photographs, steps):
    """(photograph, step, coefficients), the steps in order; at most so many of them, evenly chosen."""
    _, values, change = LADDERS[name]
    chosen = values if steps is None or steps >= len(values) else [
        values[round(k * (len(values) - 1) / max(1, steps - 1))] for k in range(steps)
    ]
    for stem, photograph in photographs.items():
        analysis = likeness.analyze(photograph)
        for value in chosen:
            yield stem, value, likeness.compare(analysis, likeness.analyze(change(photograph, value)))


def plot(name, rows):
    """One panel for each photograph; the steps stand at equal distances."""
    title = LADDERS[name][0]
    stems = list(dict.fromkeys(row[0] for row in rows))
    width, height, left, top = 250, 190, 44, 46
    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {left + width * len(stems)} {height + 90}" '
        f'font-family="sans-serif" font-size="11" role="img" aria-label="coefficients against {title}">',
        f'<rect width="100%" height="100%" fill="#ffffff"/><text x="{left}" y="16" font-size="13">{title}</text>',
    ]
    for k, (correlate, color) in enumerate(COLORS.items()):
        x = left + 100 * k
        lines.append(f'<path d="M{x} 30h20" stroke="{color}" stroke-width="2" stroke-dasharray="{DASHES[correlate]}"/>'
                     f'<text x="{x + 24}" y="34">{correlate}</text>')
    for column, stem in enumerate(stems):
        its = [row for row in rows if row[0] == stem]
        x0 = left + width * column
        plot_width = width - 40

        def place(index, value):
            step = plot_width / max(1, len(its) - 1)
            return x0 + step * index, top + height * (1 - value)

        for level in (0, 0.25, 0.5, 0.75, 0.95, 1):
            y = top + height * (1 - level)
            lines.append(f'<path d="M{x0} {y:.1f}h{plot_width}" stroke="#d4d4d0"/>')
            if column == 0 and level != 1:
                lines.append(f'<text x="{x0 - 5}" y="{y + 4:.1f}" text-anchor="end">{level:g}</text>')
        for index, (_, value, _) in enumerate(its):
            x, _ = place(index, 0)
            lines.append(f'<text x="{x:.1f}" y="{top + height + 16}" text-anchor="middle" font-size="9">{value:g}</text>')
        for correlate, color in COLORS.items():
            points = " ".join("{:.1f},{:.1f}".format(*place(index, getattr(coefficients, correlate)))
                              for index, (_, _, coefficients) in enumerate(its))
            lines.append(f'<polyline points="{points}" fill="none" stroke="{color}" stroke-width="1.8" '
                         f'stroke-dasharray="{DASHES[correlate]}"/>')
        lines.append(f'<text x="{x0 + plot_width / 2:.1f}" y="{top + height + 34}" text-anchor="middle">{stem}</text>')
    return "\n".join(lines) + "\n</svg>\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("output", type=pathlib.Path, help="existing folder")
    parser.add_argument("photographs", type=pathlib.Path, nargs="+", help="8-bit files")
    parser.add_argument("--ladder", action="append", choices=LADDERS, help="only this one; given again, these")
    parser.add_argument("--side", type=int, help="only the upper left corner of so many pixels")
    parser.add_argument("--steps", type=int, help="at most so many steps")
    options = parser.parse_args()
    photographs = {
        path.stem: np.ascontiguousarray(likeness.read(path, profile="ignore")[: options.side, : options.side])
        for path in options.photographs
    }
    with open(options.output / "ladders.csv", "w", newline="", encoding="utf-8") as file:
        table = csv.writer(file, lineterminator="\n")
        table.writerow(["ladder", "photograph", "step", *COLORS])
        for name in options.ladder or LADDERS:
            rows = list(rungs(name, photographs, options.steps))
            for stem, value, coefficients in rows:
                table.writerow([name, stem, f"{value:g}", *(f"{number:.6f}" for number in coefficients)])
            (options.output / f"ladder_{name}.svg").write_text(plot(name, rows), encoding="utf-8")


if __name__ == "__main__":
    main()

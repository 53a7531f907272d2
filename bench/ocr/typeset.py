# SPDX-License-Identifier: Apache-2.0
#
# Sets text as a printer would: black letters on a white page at 1200 dots per inch, with soft
# edges, ragged on the right.
import pathlib

from PIL import Image, ImageDraw, ImageFont

DPI = 1200
FACES = {
    "serif": "/usr/share/fonts/truetype/liberation/LiberationSerif-Regular.ttf",
    "book": "/usr/share/texmf/fonts/opentype/public/tex-gyre/texgyrepagella-regular.otf",
    "sans": "/usr/share/fonts/truetype/liberation/LiberationSans-Regular.ttf",
}
POINTS = (8, 9, 10, 11)
LINES = 24
_LETTERS_A_LINE = 72
_LEADING = 1.25
_MARGIN = 0.35  # inches


def missing_faces():
    return [path for path in FACES.values() if not pathlib.Path(path).exists()]


def _lines(paragraphs, font, width):
    """LINES lines of text; a paragraph's first is indented."""
    lines = []
    for paragraph in paragraphs:
        line = "   "
        for word in paragraph.split(" "):
            longer = f"{line} {word}" if line.strip() else line + word
            if font.getlength(longer) > width:
                lines.append(line)
                longer = word
            line = longer
        lines.append(line)
        if len(lines) >= LINES:
            return lines[:LINES]
    raise ValueError("no more text")


def typeset(paragraphs, face, points):
    """A page (mode L, 0 black) and the text on it."""
    size = points * DPI // 72
    font = ImageFont.truetype(FACES[face], size, layout_engine=ImageFont.Layout.BASIC)
    width = int(font.getlength("n" * _LETTERS_A_LINE) * 0.9)
    lines = _lines(paragraphs, font, width)
    leading = int(size * _LEADING)
    margin = int(_MARGIN * DPI)
    page = Image.new("L", (width + 2 * margin, LINES * leading + 2 * margin), 255)
    draw = ImageDraw.Draw(page)
    for number, line in enumerate(lines):
        draw.text((margin, margin + number * leading), line, fill=0, font=font)
    return page, "\n".join(line.strip() for line in lines) + "\n"

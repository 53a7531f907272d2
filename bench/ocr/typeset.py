# SPDX-License-Identifier: Apache-2.0
#
# Sets text as a printer would: black letters on a white page at 1200 dots per inch, with soft
# edges, ragged on the right.
import dataclasses
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
_FILLED = 0.9  # an n is wider than the mean of all letters
_LEADING = 1.25
_MARGIN = 0.35  # inches


@dataclasses.dataclass(frozen=True)
class Word:
    text: str
    box: tuple  # left, top, right, bottom of its ink


@dataclasses.dataclass(frozen=True)
class Page:
    image: Image.Image  # mode L, 0 black
    lines: list
    words: list

    @property
    def text(self):
        return "\n".join(self.lines) + "\n"


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


def _set_line(draw, font, line, left, top):
    """Draws the line and returns its words."""
    draw.text((left, top), line, fill=0, font=font)
    words, begin = [], 0
    for text in line.split(" "):
        if text:
            at = (left + font.getlength(line[:begin]), top)
            words.append(Word(text, draw.textbbox(at, text, font=font)))
        begin += len(text) + 1
    return words


def typeset(paragraphs, face, points):
    size = points * DPI // 72
    font = ImageFont.truetype(FACES[face], size, layout_engine=ImageFont.Layout.BASIC)
    width = int(font.getlength("n" * _LETTERS_A_LINE) * _FILLED)
    lines = _lines(paragraphs, font, width)
    leading = int(size * _LEADING)
    margin = int(_MARGIN * DPI)
    image = Image.new("L", (width + 2 * margin, LINES * leading + 2 * margin), 255)
    draw = ImageDraw.Draw(image)
    words = []
    for number, line in enumerate(lines):
        words += _set_line(draw, font, line, margin, margin + number * leading)
    return Page(image, [line.strip() for line in lines], words)

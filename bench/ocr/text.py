# SPDX-License-Identifier: Apache-2.0
#
# Plain English prose for a page: sentences.txt in an order of the page's own, with numbers, dates
# and names drawn anew. The same generator of random numbers gives the same text.
import pathlib
import re

_PLACES = (
    "Alderton", "Bexfield", "Corran", "Dunmere", "Eastwick", "Farley", "Glenhope", "Hexley",
    "Ivybridge", "Jarrow Hill", "Kelby", "Longmarsh", "Oakham", "Quenby", "Thornley", "Westray",
)
_NAMES = (
    "Mr Abbott", "Mrs Quayle", "Miss Fenn", "Dr Hughes", "Captain Yates", "Mr Zeller",
    "Mrs Jephson", "Miss Okafor", "Dr Wexler", "Mr Villiers", "Mrs Baxter", "Miss Kirkby",
)
_MONTHS = (
    "January", "February", "March", "April", "May", "June", "July", "August", "September",
    "October", "November", "December",
)
_DAYS = ("Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday")
_SENTENCES_IN_A_PARAGRAPH = (4, 7)


def _letters(rng, count):
    return "".join(rng.choice("ABCDEFGHJKLMNPQRSTUVWXYZ") for _ in range(count))


_FIELDS = {
    "n": lambda rng: str(rng.randint(100, 999)) if rng.random() < 0.7
    else f"{rng.randint(1000, 99999):,}",
    "m": lambda rng: str(rng.randint(11, 59)),
    "k": lambda rng: str(rng.randint(2, 9)),
    "year": lambda rng: str(rng.randint(1801, 1998)),
    "month": lambda rng: rng.choice(_MONTHS),
    "day": lambda rng: rng.choice(_DAYS),
    "date": lambda rng: f"{rng.randint(1, 28)} {rng.choice(_MONTHS)} {rng.randint(1801, 1998)}",
    "time": lambda rng: f"{rng.randint(1, 12)}:{rng.randint(0, 59):02}",
    "price": lambda rng: f"${rng.randint(1, 980)}.{rng.randint(0, 99):02}",
    "percent": lambda rng: f"{rng.randint(2, 98)}%",
    "decimal": lambda rng: f"{rng.randint(1, 40)}.{rng.randint(1, 9)}",
    "code": lambda rng: f"{_letters(rng, 2)}-{rng.randint(10000, 99999)}",
    "place": lambda rng: rng.choice(_PLACES),
    "name": lambda rng: rng.choice(_NAMES),
}


def _templates():
    path = pathlib.Path(__file__).with_name("sentences.txt")
    lines = path.read_text(encoding="ascii").splitlines()
    return [line for line in lines if line and not line.startswith("#")]


def _sentences(rng):
    """All sentences in a random order, over and over."""
    templates = _templates()
    while True:
        rng.shuffle(templates)
        for template in templates:
            yield re.sub(r"\{(\w+)\}", lambda field: _FIELDS[field[1]](rng), template)


def paragraphs(rng):
    """Endless paragraphs; `rng` is a random.Random."""
    sentences = _sentences(rng)
    while True:
        count = rng.randint(*_SENTENCES_IN_A_PARAGRAPH)
        yield " ".join(next(sentences) for _ in range(count))

"""The texts of one language, and everything that can be wrong with them."""

import re
import tomllib
import unicodedata
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

from .structure import Structure

CATALOGUE_KEY = re.compile(r"(?:(?:lib[a-z0-9]+\.)?error|channel)\.[a-z0-9_]+")
PLACEHOLDER = re.compile(r"%[0-9]+:s|%%sensorid|%%|%|\{n\}")
TAG = re.compile(r"\[(/?)(b|i|br)\]")
REFERENCE = re.compile(r"\[(b|i)\](.*?)\[/\1\]")
SPELLED_ALIKE_BELOW = 25
WIDE = "\u3001-\u30ff\u4e00-\u9fff\uff01-\uff60"
# Blanks that readers of a language stumble over; docs/glossary has its rules.
WRONG_BLANKS = {
    "French": (r" [:;»]|« ", "a plain blank where a no-break space belongs"),
    "Japanese": (rf" [{WIDE}]|[{WIDE}] ", "a blank beside a full-width character"),
    "SimplifiedChinese": (rf"[{WIDE}] [{WIDE}]", "a blank between full-width characters"),
}


@dataclass
class Texts:
    """One language. `problems` is empty when the texts can be used."""

    language: str
    entries: dict[str, str] = field(default_factory=dict)
    problems: list[str] = field(default_factory=list)

    def problem(self, key: str, what: str) -> None:
        self.problems.append(f"{self.language}: {key}: {what}")

    def expanded(self, structure: Structure) -> dict[str, str]:
        """All keys with their texts, the channels written out, sorted by key."""
        numbers = structure.entries()
        texts = {}
        for key, text in self.entries.items():
            if not numbers.get(key):
                texts[key] = text
                continue
            for number in numbers[key]:
                numbered_key = key.replace("{n}", str(number))
                texts[numbered_key] = text.replace("{n}", str(number))
        return dict(sorted(texts.items()))


def read(folder: Path, language: str) -> Texts:
    """The texts of a language as they stand in its file."""
    texts = Texts(language)
    path = folder / f"{language}.toml"
    try:
        content = path.read_bytes()
    except OSError as error:
        texts.problem("(file)", f"{error.strerror}: {path.name}")
        return texts
    try:
        entries = tomllib.loads(content.decode("utf-8"))
    except UnicodeDecodeError as error:
        start = content.rfind(b"\n", 0, error.start) + 1
        key = content[start : error.start].split(b'"')[1:2] or [b"(file)"]
        line = content.count(b"\n", 0, start) + 1
        texts.problem(key[0].decode("ascii", "replace"), f"not UTF-8 (line {line})")
        return texts
    except tomllib.TOMLDecodeError as error:
        texts.problem("(file)", str(error))
        return texts
    for key, text in entries.items():
        if isinstance(text, str):
            texts.entries[key] = text
        else:
            texts.problem(key, 'must be a text: "key" = "text"')
    for before, after in zip(entries, list(entries)[1:]):
        if after < before:
            texts.problem(after, f"must stand before {before}: lines are sorted by key")
            break
    return texts


def check_source(source: Texts, structure: Structure) -> None:
    """Checks the language that all others are translated from."""
    required = structure.entries()
    for key in sorted(required.keys() - source.entries.keys()):
        source.problem(key, "missing")
    for key, text in source.entries.items():
        if key not in required and not CATALOGUE_KEY.fullmatch(key):
            source.problem(key, "surplus: the structure has no place for it")
        _check_text(source, key, text)


def check_translation(texts: Texts, source: Texts, structure: Structure) -> None:
    """Checks a language against the one that it is translated from."""
    required = {key for key in source.entries if not structure.is_source_only(key)}
    for key in sorted(required - texts.entries.keys()):
        texts.problem(key, "missing")
    for key, text in texts.entries.items():
        if key not in required:
            known = key in source.entries
            reason = "is not translated" if known else f"does not exist in {source.language}"
            texts.problem(key, f"surplus: this key {reason}")
            continue
        _check_text(texts, key, text)
        _compare(texts, key, text, source)


def _check_text(texts: Texts, key: str, text: str) -> None:
    if not text.strip():
        texts.problem(key, "empty")
        return
    if text != text.strip():
        texts.problem(key, "begins or ends with a blank")
    if any(unicodedata.category(character) in ("Cc", "Cs", "Co", "Cn") for character in text):
        texts.problem(key, "holds a control character, a line break or an unassigned character")
    if "\ufffd" in text or not unicodedata.is_normalized("NFC", text):
        texts.problem(key, "not in composed Unicode characters (NFC)")
    if "%" in PLACEHOLDER.findall(text):
        texts.problem(key, "a lone %: a percent sign is written %%")
    if texts.language in WRONG_BLANKS:
        pattern, what = WRONG_BLANKS[texts.language]
        if re.search(pattern, TAG.sub("", text)):
            texts.problem(key, what)
    open_tags: list[str] = []
    for closing, tag in TAG.findall(text):
        if tag == "br":
            continue
        if not closing:
            open_tags.append(tag)
        elif not open_tags or open_tags.pop() != tag:
            texts.problem(key, f"[/{tag}] closes nothing")
            return
    if open_tags:
        texts.problem(key, f"[{open_tags[-1]}] is not closed")


def _compare(texts: Texts, key: str, text: str, source: Texts) -> None:
    original = source.entries[key]
    for pattern, what in ((PLACEHOLDER, "placeholder"), (TAG, "tag")):
        wanted = Counter(match.group() for match in pattern.finditer(original))
        found = Counter(match.group() for match in pattern.finditer(text))
        for name in sorted((wanted | found).keys()):
            if wanted[name] != found[name]:
                counts = f"{found[name]} times, {source.language} {wanted[name]} times"
                texts.problem(key, f"{what} {name} is there {counts}")
    if text == original and len(text) >= SPELLED_ALIKE_BELOW:
        texts.problem(key, f"not translated: the same as in {source.language}")
    _compare_references(texts, key, text, source)


def _compare_references(texts: Texts, key: str, text: str, source: Texts) -> None:
    """A help text that names an option or another label does so in the words that the user sees."""
    options = key.removesuffix(".help") + ".option."
    found = REFERENCE.findall(text)
    for tag, label in REFERENCE.findall(source.entries[key]):
        candidates = [
            other
            for other, other_text in source.entries.items()
            if other_text == label
            and (other.startswith(options) if tag == "b" else len(label) >= 10)
        ]
        allowed = {texts.entries.get(other) for other in candidates}
        if candidates and not any(("b" if tag == "b" else "i", own) in found for own in allowed):
            shown = " or ".join(f'"{own}"' for own in sorted(filter(None, allowed)))
            texts.problem(key, f'names "{label}" otherwise than its label does: [{tag}]{shown}')

"""Compares the messages that the code raises with the texts of the document."""

import re
from pathlib import Path

from .texts import Texts

COMMENT_OR_STRING = re.compile(r'"(?:\\.|[^"\\\n])*"|//[^\n]*|/\*.*?\*/', re.DOTALL)
STRINGS = r'((?:"(?:\\.|[^"\\\n])*"\s*)+)'
CONSTANT = re.compile(r"static\s+const\s+(?:\w+::)*i18n_msg\s+\w+\s*")
INITIALIZER = re.compile(r"\{\s*" + STRINGS + r",\s*" + STRINGS + r"\}\s*;")
STRING = re.compile(r'"((?:\\.|[^"\\\n])*)"')
ESCAPE = re.compile(r"\\(.)")
ESCAPES = {"n": "\n", "t": "\t", '"': '"', "'": "'", "\\": "\\", "?": "?"}


def _value(literals: str) -> str:
    """The text of adjacent string literals."""
    joined = "".join(STRING.findall(literals))
    return ESCAPE.sub(lambda escape: ESCAPES[escape.group(1)], joined)


def check(path: Path, shown: str, source: Texts) -> list[str]:
    """What is wrong with the message constants of one header, `shown` being its name for people.

    A constant is `static const i18n_msg name{"key", "text"};`, its literals in any number of
    parts. One that is written otherwise is a problem too, or it would go unchecked.
    """
    content = COMMENT_OR_STRING.sub(
        lambda match: match.group() if match.group().startswith('"') else " ",
        path.read_text(encoding="utf-8"),
    )
    problems = []
    for constant in CONSTANT.finditer(content):
        initializer = INITIALIZER.match(content, constant.end())
        line = content.count("\n", 0, constant.start()) + 1
        try:
            key, text = map(_value, initializer.groups())
        except (AttributeError, KeyError):
            problems.append(f'{shown}: constant {line}: not of the form name{{"key", "text"}};')
            continue
        if key not in source.entries:
            problems.append(f"{shown}: {key}: missing in {source.language}")
        elif text != source.entries[key]:
            problems.append(
                f"{shown}: {key}: differs from {source.language}\n"
                f"  code:     {text}\n  document: {source.entries[key]}"
            )
    return problems

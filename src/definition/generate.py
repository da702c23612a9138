#!/usr/bin/env python3
"""Generates the module's definition document from ./structure and ./texts.

  generate.py --check Russian    what is wrong with the texts of one language
  generate.py --check all        the same for all languages
  generate.py --json             the document, to standard output
  generate.py --cpp FILE         the document as C++, for the build

The build also gives the headers with message constants, whose texts must be the English ones.
Every problem is told in a line with language and key; then nothing is written and 1 returned.
"""

import argparse
import sys
from pathlib import Path

from generator import document, messages, pieces, texts
from generator.structure import Structure, StructureError

FOLDER = Path(__file__).resolve().parent


def read_language(language: str, source: texts.Texts, structure: Structure) -> texts.Texts:
    if language == source.language:
        return source
    result = texts.read(FOLDER / "texts", language)
    if not result.problems:
        texts.check_translation(result, source, structure)
    return result


def check(language: str, source: texts.Texts, structure: Structure) -> list[str]:
    wanted = structure.languages if language == "all" else [language]
    if unknown := set(wanted) - set(structure.languages):
        return [f"{unknown.pop()}: not one of {', '.join(structure.languages)}"]
    problems = []
    for name in wanted:
        result = read_language(name, source, structure)
        problems += result.problems
        count = len(result.expanded(structure))
        print(f"{name}: {len(result.entries)} entries, {count} keys")
    return problems


def collect(source: texts.Texts, structure: Structure) -> tuple[list[texts.Texts], list[str]]:
    """The languages of the document, and the problems that forbid to write it."""
    required = structure.module["languages"]["required"]
    usable, problems = [], []
    for language in structure.languages:
        result = read_language(language, source, structure)
        if required or result is source:
            problems += result.problems
        elif result.problems:
            print(
                f"warning: {language} is left out, {len(result.problems)} problems,"
                f" the first: {result.problems[0]}",
                file=sys.stderr,
            )
            continue
        usable.append(result)
    return usable, problems


def main() -> int:
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    task = parser.add_mutually_exclusive_group(required=True)
    task.add_argument("--check", metavar="LANGUAGE")
    task.add_argument("--json", action="store_true")
    task.add_argument("--cpp", metavar="FILE", type=Path)
    parser.add_argument("headers", nargs="*", type=Path, help="headers with message constants")
    arguments = parser.parse_args()
    try:
        structure = Structure(FOLDER / "structure")
    except StructureError as error:
        print(f"error: {error}", file=sys.stderr)
        return 1
    source = texts.read(FOLDER / "texts", structure.source_language)
    if not source.problems:
        texts.check_source(source, structure)

    usable: list[texts.Texts] = []
    if arguments.check:
        problems = check(arguments.check, source, structure)
    else:
        usable, problems = collect(source, structure)
        for header in arguments.headers:
            shown = "/".join(header.parts[-3:])
            problems += messages.check(header, shown, source)
    for problem in problems:
        print(f"error: {problem}", file=sys.stderr)
    if problems:
        return 1
    if arguments.json:
        sys.stdout.buffer.write(document.build(structure, usable).encode("utf-8"))
    elif arguments.cpp:
        text = pieces.cpp(document.build(structure, usable))
        arguments.cpp.write_text(text, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())

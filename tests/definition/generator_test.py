"""The generator finds what translators and programmers get wrong, and says where."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

FOLDER = Path(os.environ["DEFINITION_FOLDER"])
sys.path.insert(0, str(FOLDER))

from generator import messages, texts  # noqa: E402

ENGLISH = {
    "a.switch.help": "Choose [b]Off (default)[/b] or [b]On[/b].[br]See [i]Time of Message[/i].",
    "a.switch.option.off": "Off (default)",
    "a.switch.option.on": "On",
    "channel.time": "Time of Message",
    "channel{n}.display": "Channel {n}",
    "error.id": "The id %%sensorid of %0:s was refused.",
    "libregex.error.x": "Only in English",
}
DUTCH = {
    "a.switch.help": "Kies [b]Uit[/b] of [b]Aan[/b].[br]Zie [i]Tijd van bericht[/i].",
    "a.switch.option.off": "Uit",
    "a.switch.option.on": "Aan",
    "channel.time": "Tijd van bericht",
    "channel{n}.display": "Kanaal {n}",
    "error.id": "%0:s: de id %%sensorid is geweigerd.",
}
ABSENT = object()


class SmallStructure:
    def entries(self):
        return {key: None for key in ENGLISH if not key.startswith(("error", "lib", "channel."))}

    def is_source_only(self, key):
        return key.startswith("libregex.")


def translation_problems(key, text):
    translation = texts.Texts("Dutch", {**DUTCH, key: text})
    if text is ABSENT:
        del translation.entries[key]
    source = texts.Texts("English", ENGLISH)
    texts.check_translation(translation, source, SmallStructure())
    return translation.problems


class TextsTest(unittest.TestCase):
    def test_a_good_translation_has_no_problems(self):
        self.assertEqual([], translation_problems("error.id", DUTCH["error.id"]))

    def test_faults_of_a_translation_are_told_with_language_and_key(self):
        for key, text, told in [
            ("error.id", ABSENT, "missing"),
            ("error.new", "Nieuw", "surplus"),
            ("libregex.error.x", "Alleen Engels", "surplus"),
            ("error.id", "", "empty"),
            ("error.id", " \u3000", "empty"),
            ("error.id", DUTCH["error.id"] + " ", "blank"),
            ("error.id", DUTCH["error.id"] + "\u0000", "control character"),
            ("error.id", DUTCH["error.id"] + "e\u0301", "NFC"),
            ("error.id", ENGLISH["error.id"], "not translated"),
            ("error.id", "De id %%sensorid is geweigerd.", "placeholder %0:s"),
            ("error.id", "%1:s: de id %%sensorid is geweigerd.", "placeholder %1:s"),
            ("error.id", "%0:s: de id %sensorid is geweigerd.", "lone %"),
            ("error.id", "%0:s: de id is geweigerd.", "placeholder %%sensorid"),
            ("channel{n}.display", "Kanaal", "placeholder {n}"),
            ("a.switch.help", DUTCH["a.switch.help"].replace("[br]", " "), "tag [br]"),
            ("a.switch.help", DUTCH["a.switch.help"].replace("[/i].", "."), "not closed"),
            ("a.switch.help", DUTCH["a.switch.help"].replace("[i]", "[b]"), "closes nothing"),
            ("a.switch.option.off", "Uit (standaard)", None),
            ("channel.time", "Berichttijd", None),
        ]:
            with self.subTest(key=key, text=text):
                found = translation_problems(key, text)
                if told is None:
                    key, told = "a.switch.help", "otherwise than its label"
                self.assertTrue(
                    any(p.startswith(f"Dutch: {key}: ") and told in p for p in found), found
                )

    def test_faults_of_one_language_by_itself_are_told(self):
        for language, key, text, told in [
            ("English", "a.switch.option.on", ABSENT, "missing"),
            ("English", "a.switch.option.of", "Of", "surplus"),
            ("English", "error.id", "100% wrong", "lone %"),
            ("French", "error.id", "Refus\u00e9 : %%sensorid", "no-break space"),
            ("Japanese", "error.id", "\u62d2\u5426 [i]%%sensorid[/i]", "full-width"),
            ("SimplifiedChinese", "error.id", "\u901a\u9053 [i]\u65f6\u95f4[/i]", "full-width"),
        ]:
            with self.subTest(language=language, key=key, text=text):
                source = texts.Texts(language, {**ENGLISH, key: text})
                if text is ABSENT:
                    del source.entries[key]
                texts.check_source(source, SmallStructure())
                self.assertEqual(1, len(source.problems), source.problems)
                self.assertIn(f"{language}: {key}: ", source.problems[0])
                self.assertIn(told, source.problems[0])


class MessagesTest(unittest.TestCase):
    def problems(self, constant):
        with tempfile.TemporaryDirectory() as folder:
            header = Path(folder) / "messages.hpp"
            header.write_text(f"inline const i18n_msg& it() {{\n  {constant}\n  return m; }}\n")
            source = texts.Texts("English", {"error.a": 'No "tcp://" here, \\d only.'})
            return messages.check(header, "x/messages.hpp", source)

    def test_constants_are_compared_with_the_english_texts(self):
        good = r'"error.a", "No \"tcp://\" "' + "\n" + r'    "here, \\d only."'
        for constant, told in [
            ("static const libi18n::i18n_msg m{" + good + "};", None),
            ("static const i18n_msg m\n{ /* why */ " + good + " };  // static const", None),
            ('static const i18n_msg m{"error.a", "No tcp:// here."};', "error.a: differs"),
            ('static const i18n_msg m{"error.b", "B"};', "error.b: missing"),
            ('static const i18n_msg m{key, "B"};', "not of the form"),
            ('static const i18n_msg m("error.a", "B");', "not of the form"),
        ]:
            with self.subTest(constant=constant):
                found = self.problems(constant)
                self.assertEqual(told is not None, len(found) == 1, found)
                if told:
                    self.assertIn(told, found[0])


class BuildTest(unittest.TestCase):
    """The program that the build runs, on a copy of the real sources that somebody has broken."""

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name) / "definition"
        shutil.copytree(FOLDER, self.folder)
        self.output = Path(temporary.name) / "pieces.cpp"

    def generate(self, *arguments):
        command = [sys.executable, "-B", self.folder / "generate.py", *arguments]
        return subprocess.run(command, capture_output=True, text=True)

    def replace(self, file, before, after):
        content = (self.folder / file).read_bytes()
        self.assertIn(before, content)
        (self.folder / file).write_bytes(content.replace(before, after, 1))

    def test_broken_sources_write_nothing(self):
        for file, before, after, told in [
            ("texts/English.toml", b"Time Since", b"Time\xff Since", "not UTF-8"),
            ("texts/English.toml", b'"channel.state"', b'"error.state"', "sorted by key"),
            ("texts/English.toml", b'"module.display"', b'"module.title"', "module.display: missing"),
            ("texts/English.toml", b'"channel.state" =', b'"channel.state"', "(file)"),
            ("structure/groups.toml", b'default = "no"', b'default = "off"', "not an option"),
            ("structure/groups.toml", b"maximum =", b"maximal =", "unknown attribute"),
            ("structure/sensors.toml", b'"tls"]', b'"ssl"]', "refers to ssl"),
        ]:
            with self.subTest(told=told):
                whole = (self.folder / file).read_bytes()
                self.replace(file, before, after)
                run = self.generate("--cpp", self.output)
                (self.folder / file).write_bytes(whole)
                self.assertEqual(1, run.returncode)
                self.assertIn(told, run.stderr)
                self.assertFalse(self.output.exists())

    def test_a_language_must_be_there_once_all_are_required(self):
        (self.folder / "texts/Dutch.toml").unlink(missing_ok=True)
        module = self.folder / "structure/module.toml"
        content = module.read_text().replace("required = true", "required = false")
        for required, code, told in [("false", 0, "warning: Dutch"), ("true", 1, "error: Dutch")]:
            module.write_text(content.replace("required = false", f"required = {required}"))
            run = self.generate("--cpp", self.output)
            self.assertEqual(code, run.returncode, run.stderr)
            self.assertIn(told, run.stderr)
            self.output.unlink(missing_ok=True)


if __name__ == "__main__":
    unittest.main()

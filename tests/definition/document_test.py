"""The definition document as the library holds it: what a host relies on."""

import json
import os
import subprocess
import tomllib
import unittest
from pathlib import Path

LANGUAGES = (
    "Russian Brazilian Dutch Japanese French Spanish English German SimplifiedChinese".split()
)
SOURCE_ONLY = ("libregex.error.", "lookup.rttstate.")

# Every object of a kind has its members in this order; those with ? may be absent.
ORDER = {
    "document": "Revision MetaData Sensors Checks Sections Groups Lookups Text",
    "meta data": "Vendor Name Display Description Contact Version",
    "sensor": "Name Display Description Help ManualLink ResourceUsage Compatibility Family Flag?"
    " RequiredChecks Settings Tags",
    "check": "Name Sections",
    "section": "Name Display Scope Groups",
    "group": "Name Items",
    "item": "DependsOn? Condition? Setting",
    "setting": "Name Display Help Default? IntegerSigned? Floatingpoint? Selection? Text? Flags?",
    "lookup": "Name Mode LookupValues",
    "lookup value": "Name Display Value State",
}


def no_duplicates(members: list[tuple]) -> dict:
    result = dict(members)
    if len(result) != len(members):
        raise ValueError(f"a member is there twice among {[name for name, _ in members]}")
    return result


class DocumentTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        program = os.environ["PRINT_DEFINITION"]
        cls.raw = subprocess.run([program], stdout=subprocess.PIPE, check=True).stdout.decode()
        cls.document = json.loads(cls.raw, object_pairs_hook=no_duplicates)
        cls.english = {
            key: text["Display"]
            for key, text in cls.document["Text"]["English"]["Translation"].items()
        }
        folder = Path(os.environ["DEFINITION_FOLDER"])
        cls.languages = tomllib.loads((folder / "structure/module.toml").read_text())["languages"]

    def objects(self):
        document = self.document
        yield "document", document
        yield "meta data", document["MetaData"]
        for kind in ("Sensors", "Checks", "Sections", "Groups", "Lookups"):
            for name, entry in document[kind].items():
                self.assertEqual(name, entry["Name"])
                yield kind.lower().removesuffix("s"), entry
        for group in document["Groups"].values():
            for item in group["Items"]:
                yield "item", item
                yield "setting", item["Setting"]
        for lookup in document["Lookups"].values():
            for value in lookup["LookupValues"]:
                yield "lookup value", value

    def test_is_one_line_with_members_in_the_stated_order(self):
        self.assertNotIn("\n", self.raw)
        for kind, entry in self.objects():
            wanted = [
                name.removesuffix("?")
                for name in ORDER[kind].split()
                if not name.endswith("?") or name.removesuffix("?") in entry
            ]
            self.assertEqual(wanted, list(entry), f"{kind} {entry.get('Name', '')}")

    def labels(self):
        """Every label of the structure with the key of its text."""
        document = self.document
        for part in ("Display", "Description"):
            yield f"module.{part.lower()}", document["MetaData"][part]
        for name, sensor in document["Sensors"].items():
            for part in ("Display", "Description", "Help"):
                yield f"{name}.{part.lower()}", sensor[part]
        for name, section in document["Sections"].items():
            yield f"{name}.display", section["Display"]
        for group_name, group in document["Groups"].items():
            for item in group["Items"]:
                setting = item["Setting"]
                key = f"{group_name}.{setting['Name']}"
                yield f"{key}.display", setting["Display"]
                yield f"{key}.help", setting["Help"]
                for option in setting.get("Selection", {}).get("Options", []):
                    yield f"{key}.option.{option['Value']}", option["Display"]
        for name, lookup in document["Lookups"].items():
            for value in lookup["LookupValues"]:
                yield f"lookup.{name}.{value['Value']}", value["Display"]

    def test_every_label_has_its_text_and_every_text_its_place(self):
        labels = dict(self.labels())
        self.assertEqual(labels, {key: self.english.get(key) for key in labels})
        others = self.english.keys() - labels.keys()
        self.assertEqual(
            [], [key for key in others if "error" not in key.split(".") and key[:8] != "channel."]
        )
        tenth = "connection_subscribe_custom.channel10_name.display"
        self.assertEqual("Channel #10 Name", labels[tenth])

    def test_every_language_is_complete_and_in_its_place(self):
        found = self.document["Text"]
        in_order = [language for language in LANGUAGES if language in found]
        self.assertEqual(LANGUAGES if self.languages["required"] else in_order, list(found))
        translated = [key for key in self.english if not key.startswith(SOURCE_ONLY)]
        for language in found:
            wanted = list(self.english) if language == "English" else translated
            self.assertEqual(wanted, list(found[language]["Translation"]), language)


if __name__ == "__main__":
    unittest.main()

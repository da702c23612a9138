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

TEXT = {"Text": {}}
NAME = {"Text": {"Maxlength": 32}}
PEM = {"Text": {"Multiline": True}}
SECRET = {"Text": {"Security": "SettingSecurityHigh"}}
PORT = {"IsMinimumSet": True, "Minimum": 1, "IsMaximumSet": True, "Maximum": 65535}
UNLIMITED = {"IsMinimumSet": False, "Minimum": 0, "IsMaximumSet": False, "Maximum": 0}
REQUIRED, FIXED = "Required", "ReadOnlyOnNotEmpty"
NOT_IN_EDIT, WRITERS = "VisibilityNotInEdit", "VisibilityNeedsWriteAccess"

# name, type or mode and values of a selection, default, flags, the condition it depends on
SETTINGS = {
    "connection_mqtt": [("port", {"IntegerSigned": PORT}, "1883", [REQUIRED], None)],
    "connection_roundtrip": [
        ("topic", TEXT, "TRAVO/roundtrip/%sensorid", [], None),
        ("use_custom_settings", "no yes", "no", [], None),
        ("client_id", TEXT, "TRAVO_%sensorid", [], "use_custom_settings=yes"),
    ],
    "connection_statistics": [("topic", TEXT, None, [REQUIRED], None)],
    "connection_subscribe_custom": [
        ("topic", TEXT, None, [REQUIRED], None),
        ("duration_since_last_message", "single disable enable", "disable", [REQUIRED], None),
        ("retain_last_message", "single dismiss retain", "dismiss", [REQUIRED], None),
        ("message_path", TEXT, None, [], None),
    ],
    "tls": [
        ("active", "no yes", "no", [], None),
        ("server_auth_active", "no yes", "no", [], "active=yes"),
        ("ca_certificate", PEM, "", [], "server_auth_active=yes"),
        ("client_auth_active", "no yes", "no", [], "active=yes"),
        ("client_certificate", PEM, "", [WRITERS], "client_auth_active=yes"),
        ("client_key", PEM, "", [WRITERS], "client_auth_active=yes"),
        ("client_key_password", SECRET, "", [WRITERS], "client_auth_active=yes"),
    ],
    "user_credentials": [
        ("active", "no yes", "no", [], None),
        ("user", TEXT, "", [WRITERS], "active=yes"),
        ("password", SECRET, "", [WRITERS], "active=yes"),
    ],
}
TYPES = "single absolute_integer absolute_float delta_counter"
for n in range(1, 11):
    shown = f"channel{n}=enable" if n > 1 else None
    SETTINGS["connection_subscribe_custom"] += (
        [(f"channel{n}", "single disable enable", "disable", [NOT_IN_EDIT], None)] if n > 1 else []
    ) + [
        (f"channel{n}_jsonpath", TEXT, "", [REQUIRED], shown),
        (f"channel{n}_name", NAME, "", [REQUIRED, NOT_IN_EDIT], shown),
        (f"channel{n}_unit", NAME, "", [NOT_IN_EDIT], shown),
        (f"channel{n}_type", TYPES, "absolute_float", [REQUIRED, FIXED], shown),
        (
            f"channel{n}_scale_factor",
            {"Floatingpoint": UNLIMITED},
            "1",
            [REQUIRED, NOT_IN_EDIT, FIXED],
            shown,
        ),
    ]


def no_duplicates(members: list[tuple]) -> dict:
    result = dict(members)
    if len(result) != len(members):
        raise ValueError(f"a member is there twice among {[name for name, _ in members]}")
    return result


def described(item: dict) -> tuple:
    """An item of a group in the form of the table above."""
    setting = item["Setting"]
    members = "Name Display Help Default Flags".split()
    kind = {name: value for name, value in setting.items() if name not in members}
    if "Selection" in kind:
        selection = kind["Selection"]
        mode = selection.get("Mode", "").removeprefix("SettingSelectionMode").lower()
        kind = " ".join([mode, *(option["Value"] for option in selection["Options"])]).lstrip()
    flags = [flag.removeprefix("SettingFlag") for flag in setting.get("Flags", [])]
    depends_on = f"{item['DependsOn']}={item['Condition']}" if "DependsOn" in item else None
    return setting["Name"], kind, setting.get("Default"), flags, depends_on


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

    def test_offers_the_settings_that_hosts_know(self):
        self.assertEqual(list(SETTINGS), list(self.document["Groups"]))
        for name, wanted in SETTINGS.items():
            found = [described(item) for item in self.document["Groups"][name]["Items"]]
            for wanted_setting, found_setting in zip(wanted, found):
                self.assertEqual(wanted_setting, found_setting, name)
            self.assertEqual(len(wanted), len(found), name)

    def test_names_only_what_it_defines(self):
        document = self.document
        for user in [*document["Sensors"].values(), *document["Checks"].values()]:
            sections = user.get("Settings", user)["Sections"]
            self.assertLessEqual(set(sections), set(document["Sections"]), user["Name"])
            self.assertLessEqual(set(user.get("RequiredChecks", [])), set(document["Checks"]))
        for section in document["Sections"].values():
            self.assertLessEqual(set(section["Groups"]), set(document["Groups"]))

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
        self.assertEqual(331, len(self.english))
        translated = [key for key in self.english if not key.startswith(SOURCE_ONLY)]
        self.assertEqual(316, len(translated))
        for language in found:
            wanted = list(self.english) if language == "English" else translated
            self.assertEqual(wanted, list(found[language]["Translation"]), language)


if __name__ == "__main__":
    unittest.main()
